#!/usr/bin/env bash
# Shows the whole thing at work: builds it, starts a private bus, lets hosts and the tool talk over it, has the desktop service
# install a module and tell a notification, runs scripts. The exit code tells whether everything went as it should. Nothing of the user's own bus or settings is touched.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build
echo "building (a few minutes the first time) ..."
if [ ! -f build/release/CMakeCache.txt ]; then
    cmake --preset release -DNUOPLEXA_BUILD_TESTS=OFF -DNUOPLEXA_BUILD_BENCHMARKS=OFF >/dev/null
fi
cmake --build build/release -j "$(nproc)" \
    --target plexa OrvaneIPCBroker zarnd answering_host asking_host module_host script_host >build/release/demo.log || {
    cat build/release/demo.log >&2
    exit 1
}

folder=$(mktemp -d)
export PATH="$PWD/build/release/bin:$PATH"
export PLEXA_RUNTIME_DIR="$folder/bus" XDG_CONFIG_HOME="$folder/config" XDG_CONFIG_DIRS="$folder/etc"
export ZARND_CATALOGUE_DIR="$folder/catalogues" XDG_DATA_HOME="$folder/data" XDG_DATA_DIRS="$folder/share"
export CommonProgramFiles="$PWD/build/release/lib"
unset NUOCORE_SAP_CODE NUOCORE_CLIENT_VERSION NUOCORE_LOG NUOCORE_TRACE
children=()

finish() {
    local code=$?
    trap - EXIT
    # "timeout" passes the signal on to what it runs.
    for child in "${children[@]}"; do kill "$child" 2>/dev/null || true; done
    local broker
    broker=$(timeout 5 plexa broker status 2>/dev/null | sed -n 's/^broker .* process \([0-9]*\),.*/\1/p') || true
    [ -z "$broker" ] || kill "$broker" 2>/dev/null || true
    rm -rf "$folder"
    if [ $code -eq 0 ]; then echo; echo "everything went as it should"; else echo "the demonstration FAILED" >&2; fi
    exit $code
}
trap finish EXIT
trap 'exit 1' INT TERM

# A command as one would type it.
typed() {
    local word line=""
    for word; do
        case $word in *[!a-zA-Z0-9_=:./+-]*) word="'$word'" ;; esac
        line+=" $word"
    done
    printf '$%s' "$line"
}
title() { printf '\n--- %s\n' "$*"; }
# Shows a command and what it says; no command may take longer than half a minute.
show() {
    typed "$@"; echo
    timeout -k 10 30 "$@" 2>&1 | tee "$folder/shown" | sed 's/^/    /'
}
# What the last command said has to hold this text.
expect() { grep -qF -- "$1" "$folder/shown" || { echo "this is missing above: $1" >&2; exit 1; }; }
# Starts a command that goes on, its output in a file.
begin() {
    local name=$1
    shift
    typed "$@"; echo " &"
    timeout -k 10 120 "$@" >"$folder/$name" 2>&1 &
    children+=($!)
}
# Shows what such a command has said.
said() { sed 's/^/    /' "$folder/$1"; cp "$folder/$1" "$folder/shown"; }
# Waits until a file holds a text.
await() {
    local deadline=$((SECONDS + 30))
    until grep -qF -- "$2" "$folder/$1" 2>/dev/null; do
        [ $SECONDS -lt $deadline ] || { echo "this did not come: $2" >&2; cat "$folder/$1" >&2; exit 1; }
        sleep 0.1
    done
}
on_bus() {
    local deadline=$((SECONDS + 30))
    until timeout 10 plexa endpoints --json | grep -qF "\"app_id\":\"$1\""; do
        [ $SECONDS -lt $deadline ] || { echo "$1 did not come onto the bus" >&2; exit 1; }
        sleep 0.1
    done
}

title "nobody is on the bus; the first one starts the broker"
show plexa endpoints
expect PLEXACLI

title "a host that answers questions, and one that asks and subscribes"
begin answering answering_host
on_bus WORDS-1.0
show asking_host to be or not to be
expect "answer: 6 words"
expect "news: org.example.words.counted says 6 words"

title "the tool asks the same host"
show plexa request org.example.words.question --response org.example.words.answer text="how many are these"
expect '"words":4'

title "raw, XML and JSON messages"
begin subscribed plexa subscribe org.example.news --count 3 --timeout 60
await subscribed "plexa: listening"
show plexa send org.example.news "hello, bus"
show plexa send org.example.news --xml title=News text="<it works>"
show plexa send org.example.news --json count:=3 "tags:=[\"a\",\"b\"]"
wait "${children[-1]}"
said subscribed
expect '"hello, bus"'
expect '{"text":"<it works>","title":"News"}'
expect '{"count":3,"tags":["a","b"]}'

title "the tool answers, and asks itself"
begin answered plexa answer org.example.ask --response org.example.told --reply by=plexa --count 1 --timeout 60
await answered "plexa: answering"
show plexa request org.example.ask --response org.example.told --xml --key request-context question=why
expect '"by":"plexa"'
wait "${children[-1]}"

title "a receiver that is not there is told, not guessed"
if show plexa send org.example.news hello --to NOBODY-1.0; then
    echo "this should have failed" >&2
    exit 1
fi
expect "is not on the bus"

title "the codec on its own"
printf '%s\n' "\$ echo '<message><a>1</a></message>' | plexa payload decode"
echo '<message><a>1</a></message>' | timeout 10 plexa payload decode | tee "$folder/shown" | sed 's/^/    /'
expect '{"a":"1"}'

title "what the broker says"
show plexa broker status
expect WORDS-1.0

title "an add-on module, made of real files just now, and the service that installs it"
mkdir "$folder/catalogues"
show tar -czf "$folder/module.tar.gz" docs include src
cat >"$folder/catalogues/QRTX.json" <<END
{"schema": 1, "product": "QRTX", "modules": {"KQ7L": {
  "version": "1.0", "fits": ["20.*"], "archive": "file://$folder/module.tar.gz",
  "sha256": "$(sha256sum "$folder/module.tar.gz" | cut -d ' ' -f 1)", "size": $(stat -c %s "$folder/module.tar.gz")}}}
END
show cat "$folder/catalogues/QRTX.json"
begin serving zarnd
await serving "serving as zarnd-"
show plexa module list
expect available

title "a host has it installed, and observes a notification"
begin hosting module_host KQ7L mail new
await hosting "waiting for a notification"
show plexa notify mail new from=Ada subject="it works"
expect "sent to 1 observer"
wait "${children[-1]}"
said hosting
expect "KQ7L: 100 %"
expect "KQ7L: installed"
expect "notification: mail new from=Ada subject=it works"

title "what is installed is whole; it goes, and comes again"
show plexa module check
expect "QRTX KQ7L 1.0: intact"
cmp docs/modules.md "$folder/data/orvane/zarnd/modules/QRTX/KQ7L/current/files/docs/modules.md"
show plexa module remove KQ7L --product QRTX
expect "KQ7L: removed"
show plexa module install KQ7L --product QRTX --product-version 20.0
expect "KQ7L: 100 %"
expect "KQ7L: installed"

title "the same host as an application of the desktop, known by its app id"
mkdir -p "$folder/data/applications"
cat >"$folder/data/applications/words.desktop" <<END
[Desktop Entry]
Type=Application
Name=Words
Exec=answering_host
X-Plexa-AppId=WORDS-1.0
END
show plexa apps list
expect "WORDS-1.0  $(plexa apps pid WORDS-1.0)"

title "a clean end"
echo "\$ kill %1    (answering_host)"
kill "${children[0]}"
wait "${children[0]}"
said answering
expect 'answered: "to be or not to be" has 6 words'

title "started by its app id, and addressed by it"
show plexa apps launch WORDS-1.0
expect "WORDS-1.0: started"
on_bus WORDS-1.0
show plexa send org.example.note "for you alone" --to WORDS-1.0
show plexa request org.example.words.question --response org.example.words.answer text="still there"
expect '"words":2'
kill "$(plexa apps pid WORDS-1.0)"

title "a script hands a notification to the native side"
show cat examples/push.js
show plexa script run examples/push.js
expect "received: true"
show plexa script run --eval 'for (;;);' --time-limit 0.5 || true
expect "it took longer than 500 ms"

title "a host whose scripts talk on the bus"
cat >"$folder/greeter.js" <<'END'
const bus = new example.Bus();
bus.listen("org.example.hello", message => {
    bus.send("org.example.greeting", {text: "hello, " + message.name});
    bus.stop();
});
console.log("listening");
END
show cat "$folder/greeter.js"
begin greeter script_host "$folder/greeter.js"
await greeter listening
on_bus SCRIPT-1.0
begin greeted plexa subscribe org.example.greeting --count 1 --timeout 60
await greeted "plexa: listening"
show plexa send org.example.hello --json name=Ada
wait "${children[-1]}"
said greeted
expect '{"text":"hello, Ada"}'
wait "${children[-2]}"
