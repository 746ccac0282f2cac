#!/usr/bin/env bash
# Inside a bare root: installs the packages that lie in /check, uses them as a person does who is nobody special,
# removes them, and looks for what is left.
set -euo pipefail
cd /check
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# What a machine that people use has before.
apt-get install -qq -y --no-install-recommends bash-completion man-db mandoc python3 zsh >/dev/null
useradd --create-home --shell /bin/bash anna

# All that is there, and what the folder of configurations says.
inventory() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /check -o -path /tmp -o -path /home -o -path /root \
        -o -path /var/cache -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /run \) -prune -o -print | sort
    find /etc -type f -exec sha256sum {} + | sort
}
inventory >/check/before

apt-get install -qq -y --no-install-recommends ./*.deb >/dev/null
echo "installed: $(dpkg-query -W -f '${Package} ' pwrhost libwriter-plugins libpwr-writers-dev)"

runuser --login anna <<'USER'
set -eu
pwrhost --version | sed -n '/^library \/usr\/lib\/.*\/pwr-writers\//p' | wc -l | grep -qx 2
pwrhost record --seconds 1 --preset server --rotate 1h -w all -o run --quiet || [ $? = 2 ]
ls
for file in run*.csv run*.html run*.ztjson run*.perfetto-trace; do test -s "$file"; done
pwrhost show --check run*.ztbin
for page in pwrhost.1 pwrhost-record.1 pwrhost-replay.1 pwrhost-compare.1 pwr-stream.5 pwr-formats.5; do
    man "${page##*.}" "${page%.*}" | grep -q '^DESCRIPTION'
    zcat "/usr/share/man/man${page##*.}/$page.gz" | mandoc -Tlint -W style 2>/dev/null
done
# What the pages name is there.
for file in $(zcat /usr/share/man/man[15]/pwr*.gz | sed -n 's/^\.\(It \)\?Pa \(\/usr\/[^ ]*\).*/\2/p' | sort -u); do
    test -e "$file" || { echo "$file is not there"; exit 1; }
done
python3 /check/completion_test.py /usr/bin/pwrhost --installed
USER

apt-get purge -qq -y pwrhost libwriter-plugins libpwr-writers-dev >/dev/null
apt-get autoremove -qq -y --purge >/dev/null
inventory >/check/after
if ! diff /check/before /check/after; then
    echo "these are left, or gone"
    exit 1
fi
! command -v pwrhost
echo "recorded, read, completed and removed"
