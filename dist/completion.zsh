#compdef pwrhost
source <(pwrhost completion zsh) && _pwrhost "$@"
