# Sourced: an update feed on this machine, over a server of its own, that has nothing new for a build 1.
#
#   feed_start FOLDER   serves FOLDER/site, where appcast.xml offers FOLDER/X.app, an empty bundle that is sealed with
#                       FOLDER/key; sets feed_address (http://127.0.0.1:PORT), feed_key (base64) and feed_server (process)
#   feed_into BUNDLE    lets the bundle look for updates there
feed_start() {
    local folder=$1 port=
    mkdir -p "$folder/site" "$folder/X.app/Contents/MacOS"
    cat >"$folder/X.app/Contents/Info.plist" <<'P'
<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>x</string><key>CFBundleVersion</key><string>1</string>
<key>CFBundleShortVersionString</key><string>1</string><key>CFBundleName</key><string>X</string></dict></plist>
P
    feed_key=$(Scripts/seal --new-key "$folder/key")
    Scripts/make-update "$folder/X.app" --key "$folder/key" --url http://127.0.0.1 "$folder/site"
    python3 -u -m http.server 0 --bind 127.0.0.1 --directory "$folder/site" >"$folder/served" 2>/dev/null &
    feed_server=$!
    for _ in $(seq 100); do
        port=$(sed -n 's/.* port \([0-9]*\) .*/\1/p' "$folder/served")
        [ -z "$port" ] || break
        sleep 0.05
    done
    feed_address=http://127.0.0.1:$port
}

feed_into() {
    python3 - "$1/Contents/Info.plist" "$feed_address/appcast.xml" "$feed_key" <<'P'
import plistlib, sys
facts = plistlib.load(open(sys.argv[1], "rb"))
facts.update(SUFeedURL=sys.argv[2], SUPublicEDKey=sys.argv[3])
plistlib.dump(facts, open(sys.argv[1], "wb"))
P
}
