# Sourced: a real panel on a screen and a session bus of its own, and hands to click with. Nothing outside is touched,
# and all of it ends with the script that sources this.
#
#   panel_start xfce|lxqt [light|dark]   screen, bus, panel; returns once the panel takes items. Sets $DISPLAY and
#                                        $DBUS_SESSION_BUS_ADDRESS for what is started after it.
#   panel_run PROGRAM [ARGUMENT...]      starts a program; its words go to $panel_work/said, and it takes orders from
#   panel_say ORDER...                   this one
#   panel_heard TEXT [SECONDS]           waits until the program has said a line with this text
#   panel_icon                           waits for the program's icon and remembers its place
#   panel_click [BUTTON]                 clicks the icon, by default with the button that opens a menu on this panel
#   panel_keys KEY...                    "Down Return", as xdotool names them
#   panel_shot FILE.png                  the screen
#   panel_icon_shot FILE.png             the icon's place on it
#   panel_settle                         waits until the screen stands still
#   panel_again                          ends the panel, hard, and starts it again
#   panel_program_end                    ends the program that panel_run started

panel_needs=(Xvfb dbus-daemon dbus-send xdotool import convert)
panel_children=()
panel_work=

panel_missing() {
    local tool
    for tool in "${panel_needs[@]}" "$@"; do command -v "$tool" >/dev/null || printf '%s ' "$tool"; done
}

panel_wait() {  # panel_wait SECONDS WHAT COMMAND...
    local turns=$(($1 * 20)) what=$2
    shift 2
    while ! "$@"; do
        [ $((turns -= 1)) -gt 0 ] || { echo "no $what" >&2; return 1; }
        sleep 0.05
    done
}

panel_start() {
    panel_kind=$1 panel_colours=${2:-light}
    panel_work=$(mktemp -d /tmp/larkmoor-panel.XXXXXX)
    trap panel_stop EXIT
    export HOME=$panel_work/home XDG_RUNTIME_DIR=$panel_work/runtime GDK_BACKEND=x11 QT_QPA_PLATFORM=xcb NO_AT_BRIDGE=1
    export XDG_CONFIG_HOME=$HOME/.config XDG_CACHE_HOME=$HOME/.cache XDG_DATA_HOME=$HOME/.local/share LC_ALL=C.UTF-8
    mkdir -p -m 700 "$HOME" "$XDG_RUNTIME_DIR" "$XDG_CONFIG_HOME"

    mkfifo "$panel_work/display"
    Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>"$panel_work/display" 2>"$panel_work/xvfb.log" &
    panel_children+=($!)
    read -r DISPLAY <"$panel_work/display"
    export DISPLAY=:$DISPLAY

    mkfifo "$panel_work/address"
    dbus-daemon --session --nofork --address="unix:path=$panel_work/bus" --print-address=3 \
        3>"$panel_work/address" 2>"$panel_work/bus.log" &
    panel_children+=($!)
    read -r DBUS_SESSION_BUS_ADDRESS <"$panel_work/address"
    export DBUS_SESSION_BUS_ADDRESS

    "panel_configure_$panel_kind"
    panel_launch
    panel_shot "$panel_work/before.png"
}

panel_launch() {
    "${panel_command[@]}" >>"$panel_work/panel.log" 2>&1 &
    panel_pid=$!
    panel_children+=("$panel_pid")
    panel_wait 30 "watcher of $panel_kind" panel_has_watcher || return 1
    panel_settle
}

panel_again() {
    kill -9 "$panel_pid"
    wait "$panel_pid" 2>/dev/null
    panel_wait 5 "end of the panel" panel_has_no_watcher || return 1
    panel_launch
}

panel_configure_xfce() {
    local dark=false
    [ "$panel_colours" = dark ] && dark=true
    mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml" "$XDG_CONFIG_HOME/gtk-3.0"
    printf '[Settings]\ngtk-application-prefer-dark-theme=%s\n' "$dark" >"$XDG_CONFIG_HOME/gtk-3.0/settings.ini"
    cat >"$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="dark-mode" type="bool" value="$dark"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"><property name="square-icons" type="bool" value="true"/></property>
  </property>
</channel>
XML
    panel_button=1
    panel_command=(xfce4-panel --disable-wm-check)
}

panel_configure_lxqt() {
    mkdir -p "$XDG_CONFIG_HOME/lxqt"
    printf '[General]\ntheme=%s\n' "$([ "$panel_colours" = dark ] && echo dark || echo light)" \
        >"$XDG_CONFIG_HOME/lxqt/lxqt.conf"
    cat >"$XDG_CONFIG_HOME/lxqt/panel.conf" <<'INI'
[General]
panels=panel1
[panel1]
plugins=statusnotifier
position=Top
width=100
width-percent=true
panelSize=32
[statusnotifier]
type=statusnotifier
INI
    # This panel calls Activate for the first button whatever an item says, and opens menus with the third.
    panel_button=3
    openbox >"$panel_work/openbox.log" 2>&1 &
    panel_children+=($!)
    panel_command=(lxqt-panel)
}

panel_has_watcher() {
    dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
        string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q 'boolean true'
}

panel_has_no_watcher() { ! panel_has_watcher; }

panel_run() {
    mkfifo "$panel_work/orders"
    exec {panel_orders}<>"$panel_work/orders"
    "$@" <"$panel_work/orders" >"$panel_work/said" 2>&1 &
    panel_program=$!
    panel_children+=("$panel_program")
}

panel_say() { printf '%s\n' "$*" >&"$panel_orders"; }

panel_heard() { panel_wait "${2:-5}" "\"$1\" from the program" grep -qF -- "$1" "$panel_work/said"; }

panel_program_end() {
    kill "$panel_program" 2>/dev/null
    wait "$panel_program" 2>/dev/null
    exec {panel_orders}>&-
    rm -f "$panel_work/orders"
}

panel_shot() { import -silent -window root "$1"; }

panel_differs() {  # panel_differs A B: the box of what differs, "WxH+X+Y"; false if nothing does
    local box
    box=$(convert "$1" "$2" -compose difference -composite -colorspace gray -threshold 4% -trim -format '%wx%h%O' info: 2>/dev/null)
    case $box in ''|0x0*|1x1-1-1|*-1-1) return 1 ;; esac
    printf '%s\n' "$box"
}

panel_settle() {
    local turn
    panel_shot "$panel_work/now.png"
    for turn in 1 2 3 4 5 6 7 8 9 10 11 12; do
        mv "$panel_work/now.png" "$panel_work/then.png"
        sleep 0.25
        panel_shot "$panel_work/now.png"
        panel_differs "$panel_work/then.png" "$panel_work/now.png" >/dev/null || return 0
    done
}

panel_icon_appeared() {
    panel_shot "$panel_work/now.png"
    panel_place=$(panel_differs "$panel_work/before.png" "$panel_work/now.png")
}

panel_icon() {
    panel_wait 15 "icon on the panel" panel_icon_appeared || return 1
    panel_settle
    panel_icon_appeared
    local width height x y
    IFS='x+' read -r width height x y <<<"$panel_place"
    panel_x=$((x + width / 2)) panel_y=$((y + height / 2))
}

panel_icon_shot() {
    panel_shot "$panel_work/now.png"
    convert "$panel_work/now.png" -crop "$panel_place" +repage "$1"
}

panel_click() {
    xdotool mousemove "$panel_x" "$panel_y" click "${1:-$panel_button}"
    panel_settle
}

panel_keys() {
    local key
    for key in "$@"; do xdotool key "$key"; sleep 0.1; done
    panel_settle
}

panel_stop() {
    local child
    for ((child = ${#panel_children[@]} - 1; child >= 0; child--)); do kill "${panel_children[child]}" 2>/dev/null; done
    wait 2>/dev/null
    [ -n "${LARKMOOR_PANEL_KEEP:-}" ] || rm -rf "$panel_work"
}
