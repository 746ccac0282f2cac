source <(pwrhost completion bash)
