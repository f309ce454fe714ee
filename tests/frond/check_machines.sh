#!/bin/bash
# Runs the guide's GNU parallel command with two machines, each an ssh server of its own on the loopback interface, and
# kills one of them at its first photograph: check_machines.sh FROND
#
# Servers, keys and the machines' home folders are in a scratch folder. Nothing reads or changes the ssh settings of the
# user or the system. Exit code 77 where no server can be started.
set -euo pipefail
frond=$(realpath "$1")
guide=$(realpath "$(dirname "$0")/../../docs/guide.md")
place=$(mktemp -d)
declare -A server

fail() { echo "check_machines.sh: $*" >&2; exit 1; }
skip() { echo "skipped: $*"; exit 77; }

# Ends the process and all that it started. A stopped process starts no others meanwhile.
kill_tree() {
    local child
    kill -STOP "$1" 2>/dev/null || return 0
    for child in $(ps -o pid= --ppid "$1"); do kill_tree "$child"; done
    kill -KILL "$1" 2>/dev/null || true
}

trap 'for name in "${!server[@]}"; do kill_tree "${server[$name]}"; done; rm -rf "$place"' EXIT

PATH=$PATH:/usr/sbin:/sbin
for program in sshd ssh ssh-keygen parallel rsync ps; do
    command -v $program >/dev/null || skip "$program is not installed"
done
sshd=$(command -v sshd) ssh=$(command -v ssh)

# The user's side: an ssh that knows only these machines.
mkdir "$place/bin"
printf '%s\n' '#!/bin/sh' "exec $ssh -F $place/ssh.config \"\$@\"" >"$place/bin/ssh"
chmod +x "$place/bin/ssh"
printf '%s\n' "Include $place/*.host" 'Host *' 'HostName 127.0.0.1' "User $(id -un)" 'BatchMode yes' 'LogLevel ERROR' \
    "IdentityFile $place/user.key" 'IdentitiesOnly yes' 'IdentityAgent none' "UserKnownHostsFile $place/known_hosts" \
    'GlobalKnownHostsFile none' >"$place/ssh.config"
ssh-keygen -q -t ed25519 -N '' -f "$place/user.key"
export PATH=$place/bin:$PATH PARALLEL_HOME=$place

# start_server NAME COMMANDS: a session begins in the machine's home folder, and frond there begins with the commands.
start_server() {
    local name=$1 port
    mkdir "$place/$name" "$place/$name.bin"
    printf '%s\n' '#!/bin/sh' 'cd && exec sh -c "$SSH_ORIGINAL_COMMAND"' >"$place/$name.sh"
    printf '%s\n' '#!/bin/sh' "$2" "exec '$frond' \"\$@\"" >"$place/$name.bin/frond"
    chmod +x "$place/$name.sh" "$place/$name.bin/frond"
    ssh-keygen -q -t ed25519 -N '' -f "$place/$name.key"
    echo "$name $(cat "$place/$name.key.pub")" >>"$place/known_hosts"
    for port in $(shuf -i 20000-60000 -n 20); do
        printf '%s\n' "ListenAddress 127.0.0.1:$port" "HostKey $place/$name.key" "AuthorizedKeysFile $place/user.key.pub" \
            "ForceCommand $place/$name.sh" "SetEnv HOME=$place/$name PATH=$place/$name.bin:/usr/bin:/bin" \
            'PidFile none' 'UsePAM no' 'StrictModes no' 'PasswordAuthentication no' 'KbdInteractiveAuthentication no' \
            'PermitRootLogin yes' 'MaxStartups 100' >"$place/$name.config"
        printf '%s\n' "Host $name" "Port $port" "HostKeyAlias $name" >"$place/$name.host"
        : >"$place/$name.log"
        "$sshd" -D -e -f "$place/$name.config" 2>"$place/$name.log" &
        server[$name]=$!
        disown
        until grep -q 'Server listening' "$place/$name.log"; do
            kill -0 "${server[$name]}" 2>/dev/null || continue 2  # another program has the port
            sleep 0.1
        done
        ssh "$name" true 2>>"$place/$name.log" || break
        return
    done
    skip "no ssh server can be used: $(tail -n 1 "$place/$name.log")"
}

# Root's server separates its privileges in this folder, which the system's own service would create.
[ "$(id -u)" != 0 ] || mkdir -p -m 755 /run/sshd || skip "/run/sshd cannot be created"
mkfifo "$place/never"
start_server ada ''
start_server grace "touch $place/started; exec cat $place/never"

cd "$place"
mkdir photos
names=("1.jpg" "two words.jpg" "three  spaces.JPG" "it's 4.jpg" "fünf.jpeg.jpg" "-6.jpg" "7 \$HOME.jpg" "8 (copy).jpg")
"$frond" sample --size 96x64 plate
for i in "${!names[@]}"; do
    "$frond" key plate/photo.png --over plate/background.png --original --quality $((50 + 5 * i)) --quiet -o "photos/${names[i]}"
done
"$frond" key plate/background.png --over plate/photo.png --original --quiet -o beach.jpg
"$frond" key photos/1.jpg --over beach.jpg --alter-green 85 --record studio.json --quiet -o studio.png
"$frond" key photos/* --over beach.jpg --action studio.json --quiet -o here/

command=$(sed -n '/^### Several machines/,/^If /{/^```sh/,/^```/{/^```/!p}}' "$guide")
[[ $command == *8/ada,8/grace*--retries* && $(find here -name '*.png' | wc -l) = 8 ]] || fail "no such command, or no local results: $command"
bash -c "$command" >parallel.log 2>&1 &
run=$!
until [ -e started ]; do
    kill -0 $run 2>/dev/null || fail "grace had no photograph: $(cat parallel.log)"
    sleep 0.1
done
kill_tree "${server[grace]}"
wait $run || fail "exit code $?: $(cat parallel.log)"
diff -r -x ".frond-*" here finished || fail "the results differ: $(cat parallel.log)"
# Repeated, it keys what has no result.
rm "finished/${names[1]%.*}.png"
touch -d 2000-01-01 finished/1.png
bash -c "$command" >parallel.log 2>&1 || fail "exit code $?: $(cat parallel.log)"
diff -r -x ".frond-*" here finished || fail "the results of the second run differ: $(cat parallel.log)"
[ "$(date -r finished/1.png +%Y)" = 2000 ] || fail "a result was made again"
[ -z "$(find ada -type f ! -name '.frond-*')" ] || fail "left on ada: $(ls -R ada)"
