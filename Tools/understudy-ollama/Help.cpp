#include "Help.h"

#include <fmt/format.h>

namespace larkmoor::modelhost {

void printHelp() {
    fmt::print("{}", R"(usage: ollama serve [--scenario FILE] [--log FILE]
       ollama --version

Stands for the model host and the registry behind it. It answers GET /api/tags and /api/version, POST /api/pull (always
in lines), /api/copy and /api/generate, DELETE /api/delete, and keeps a store: real manifests, and blobs whose names are
their digests. A download that ended early goes on at its "-partial" file. It says "listening on ADDRESS:PORT" on
standard output once it does, and ends with status 0 at SIGTERM.

  OLLAMA_HOST               address and port, 127.0.0.1:11434; port 0 is a free one
  OLLAMA_MODELS             the store, $HOME/.ollama/models
  LARKMOOR_OLLAMA_SCENARIO  what to play, unless --scenario says it
)");
    fmt::print("{}", R"(
A scenario is a JSON object. Every member may be left out:

  models                  what the registry offers: [{"name", "layers": [{"name", "bytes"}], "config": {"name",
                          "bytes"}, "installed": true}]. Name, size and seed of a layer determine its content; models
                          with the same layer share its blob. The config is downloaded last. What is installed is in
                          the store from the start. Without models: fenwright/gemma3-4b-text, its twin under
                          hf.co/fenwright, gemma3:4b and nomic-embed-text, some megabytes each.
  seed                    of the layers' contents
  bytesPerSecond          of a download; 0 is as fast as possible
  pieceBytes              between two lines of progress, 65536
  delayMilliseconds       before each answer
  startDelayMilliseconds  before it listens
  exitAfterRequests       it exits with status 1 after so many answers
  log                     a file for what happens, relative to the scenario's folder (--log overrides it): a JSON line
                          for each event, with its time "at" in seconds. "closed" means that the client closed the
                          connection before the answer's end, "broken" that a fault did, "answered" neither.
  faults                  a list, see below
)");
    fmt::print("{}", R"(
A fault hits the requests of its "path" and its "model" (any without), but not the first "after" of them, and only
"times" of them (all without). Its place is before a status line ("before": "success"), in a layer once so many bytes of
it are there ("layer": 0, "bytes": 1000; only layers that are downloaded count), in the answer's body ("bytes": 1000), or
else before the answer. It "does":

  answer      this answer instead: "status" (500), "words" (the body), "framing" ("length", "chunked" or "close")
  error       the line {"error": "words"} and the end of a pull; for other paths, an answer with "status"
  end         ends the answer properly, too early
  stop        closes the connection; reset does it with a reset, halfClose in one direction only
  hang        never goes on
  exit        ends the process with "status" (1)
  dribble     goes on at "bytesPerSecond" (1), byte by byte
  text        puts "words" in between, as they are
  longLine    puts a line of "size" bytes in between, 100 MB
  flood       this answer instead: at least "size" bytes of lines of progress, each of "lineBytes" (blanks fill it), at
              full speed, with "framing"
  total       tells "size" as the layer's total from now on, half of it by default
  lateLayer   tells one more layer, of "size" bytes, which is complete at the end

  {"faults": [{"does": "error", "path": "/api/pull", "words": "dial tcp: lookup registry: no such host", "times": 1}]}
)");
}

}  // namespace larkmoor::modelhost
