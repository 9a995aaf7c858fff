#!/bin/sh
# Stands in for larkmoor-hook: the prompt, which is the first member of the question, says how it answers. It
# reads no more than it needs.
question=$(head -c 60000)
prompt=${question#'{"prompt":"'} && prompt=${prompt%%'"'*}
here=$(dirname "$0")
case $prompt in
normal) printf '{"context":"%s"}' "$*"; printf %s "$question" >"$here/question" ;;
half) echo $$ >"$here/half.pid"; printf '{"context":"ha'; exec sleep 60 ;;
grandchild) printf '{"context":"whole"}'; sleep 60 & echo $! >"$here/grandchild.pid" ;;
split) printf '{"context":"\303'; sleep 0.3; printf '\251\360\237'; sleep 0.3; printf '\230\200"}' ;;
flood) exec yes ;;
deaf*) exec printf '{"context":7}' ;;
many*) printf '{"context":"%s"}' "$prompt" ;;
esac
