# Sourced: what the models' setup meets when the application is started for development or for a test. The person's own
# model host, account and internet are never asked: the setup is left out, or meets understudies in a network of its own
# (see in-own-network), where the model host's port is free.
#
#   models_leave_out SUPPORT               the setup was finished before: nothing starts
#   models_stage TOOLS BUNDLE HOME         the runtime as an earlier launch left it in HOME, the speech helper in BUNDLE
#   models_host TOOLS HOME                 becomes the model host, at the real port, with a naming model to download;
#                                          it says "listening on" once it does
models_data=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../Tests/Data" && pwd)

models_leave_out() { cp "$models_data/local-models-set-up.json" "$1/local-models-progress.json"; }

models_stage() {
    local tools=$1 bundle=$2 home=$3
    local runtime="$home/Library/Application Support/Larkmoor/models/naming/runtime"
    local helper="$bundle/Contents/Library/Larkmoor.app/Contents/MacOS"
    (umask 077 && mkdir -p "$runtime" && cp "$tools/understudy-ollama/ollama" "$runtime" &&
        sha256sum <"$runtime/ollama" | cut -c 1-64 >"$runtime/ollama.sha256") || return 1
    mkdir -p "$helper" && cp "$tools/understudy-transcribe/larkmoor-transcribe" "$helper" || return 1
    # Slow enough to be watched: twenty seconds for each of the two downloads.
    echo '{"pauseMilliseconds": 800}' >"$home/larkmoor-transcribe.json"
    cat >"$home/host.json" <<'JSON'
{"models": [{"name": "fenwright/gemma3-4b-text", "layers": [{"name": "weights", "bytes": 100000000}]}],
 "bytesPerSecond": 5000000, "log": "host.log"}
JSON
}

models_host() {
    exec env -u OLLAMA_HOST -u OLLAMA_MODELS HOME="$2" "$1/understudy-ollama/ollama" serve --scenario "$2/host.json"
}
