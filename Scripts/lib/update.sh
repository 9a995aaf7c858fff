# Sourced: an update that is offered on this machine, under a key made for the occasion.
#
#   update_serve FOLDER                    a web server of FOLDER, which is $update_server; sets $update_url and $update_public
#   update_stamp BUNDLE BUILD VERSION      what the bundle says of itself, with that feed and key; it is not sealed by this
#   update_offer BUNDLE BUILD VERSION      the same, and the feed offers it from now on
#   update_seal BUNDLE                     seals it with the key
#   update_offer_nothing FOLDER            makes FOLDER/X.app, an empty bundle, and offers it as build 1, which is no update
update_scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

update_serve() {
    local port
    update_site=$1
    update_public=$("$update_scripts/seal" --new-key "$update_site.key")
    : >"$update_site.log"
    python3 -u -m http.server 0 --bind 127.0.0.1 --directory "$update_site" >>"$update_site.log" 2>&1 &
    update_server=$!
    for _ in {1..100}; do
        port=$(sed -n 's/.* port \([0-9]*\) .*/\1/p' "$update_site.log")
        [ -z "$port" ] || break
        sleep 0.1
    done
    update_url=http://127.0.0.1:$port
}

update_stamp() {
    python3 -c 'import plistlib, sys
file = sys.argv[1] + "/Contents/Info.plist"
facts = plistlib.load(open(file, "rb"))
facts.update(zip(("CFBundleVersion", "CFBundleShortVersionString", "SUFeedURL", "SUPublicEDKey"), sys.argv[2:]))
plistlib.dump(facts, open(file, "wb"))' "$1" "$2" "$3" "$update_url/appcast.xml" "$update_public"
}

update_offer() {
    update_stamp "$@" && "$update_scripts/make-update" "$1" --key "$update_site.key" --url "$update_url" "$update_site"
}

update_seal() { "$update_scripts/seal" "$1" --key "$update_site.key"; }

update_offer_nothing() {
    mkdir -p "$1/X.app/Contents/MacOS"
    cat >"$1/X.app/Contents/Info.plist" <<'P'
<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>x</string><key>CFBundleName</key><string>X</string>
</dict></plist>
P
    update_offer "$1/X.app" 1 1
}
