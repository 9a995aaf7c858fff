# Sourced: a real panel on a screen and a session bus of its own, and hands to click with. Nothing outside is touched,
# and all of it ends with the script that sources this.
#
#   panel_start HOST [light|dark]          screen, bus, panel; returns once the panel takes items. Sets $DISPLAY and
#                                          $DBUS_SESSION_BUS_ADDRESS for what is started after it.
#   panel_daemon UNDERSTUDY [ARGUMENT...]  a home that is set up ($panel_support), its models too, and the daemon's
#                                          understudy in it; returns once that serves
#   panel_order NAME [ARGUMENT...]         what the understudy is to do, as dbus-send spells it
#   panel_told TEXT                        whether the understudy was sent it
#   panel_refreshed COMMAND...             asks the application for a refresh, then runs the command; a refresh that is
#                                          asked for while one runs is dropped, so this belongs into panel_wait
#   panel_run PROGRAM [ARGUMENT...]        starts a program; its words go to $panel_work/said
#   panel_wait SECONDS WHAT COMMAND...     waits until the command is true; false, and WHAT is said to be missing, if not
#   panel_icon                             waits for the program's icon and remembers its place
#   panel_open, panel_close                clicks the icon and waits for its menu; closes it and waits for its end
#   panel_menu_shows                       whether it is open
#   panel_click_first_row COMMAND...       clicks the open menu's first row that is on: true once the command is
#   panel_keys KEY...                      "Down Return", as xdotool names them
#   panel_shot FILE.png                    the screen
#   panel_icon_shot FILE.png               the icon's place on it
#   panel_differs A.png B.png              the box of what differs, "WxH+X+Y"; false if nothing does
#   panel_settle                           waits until the screen stands still
#   panel_again                            ends the panel, hard, and starts it again

. "$(dirname "${BASH_SOURCE[0]}")/../../Scripts/lib/models.sh"

panel_needs=(Xvfb dbus-daemon dbus-send xdotool import convert)
panel_children=()
panel_work=
panel_calm=0          # seconds without a change after which a new panel counts as drawn
panel_hidden=         # what changes by itself: a shape for convert's -draw
panel_hover=0         # seconds that the pointer must rest before a click is taken
panel_first_key=      # what a new panel is given once it is drawn
panel_keyboard=yes    # whether keys reach an open menu
panel_restarts=yes    # whether panel_again is possible
panel_programs_xfce=(xfce4-panel)
panel_programs_lxqt=(lxqt-panel openbox)

panel_missing() {
    local tool
    for tool in "${panel_needs[@]}" "$@"; do command -v "$tool" >/dev/null || printf '%s ' "$tool"; done
}

# Counts its turns and not the time, so that a busy machine gets as many looks as an idle one.
panel_wait() {
    local turns=$(($1 * 20)) what=$2
    shift 2
    while ! "$@"; do
        [ $((turns -= 1)) -gt 0 ] || { echo "no $what" >&2; return 1; }
        sleep 0.05
    done
}

panel_start() {
    panel_kind=$1 panel_colours=${2:-light}
    panel_work=$(mktemp -d -t larkmoor-panel.XXXXXX)
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
        3>"$panel_work/address" >"$panel_work/bus.log" 2>&1 &
    panel_children+=($!)
    read -r DBUS_SESSION_BUS_ADDRESS <"$panel_work/address"
    export DBUS_SESSION_BUS_ADDRESS

    "panel_configure_$panel_kind" || return 1
    panel_shot "$panel_work/bare.png"
    panel_launch || return 1
    panel_shot "$panel_work/before.png"
}

panel_launch() {
    "${panel_command[@]}" >>"$panel_work/panel.log" 2>&1 &
    panel_pid=$!
    panel_children+=("$panel_pid")
    panel_wait 30 "watcher of $panel_kind" panel_has_watcher && panel_wait 30 "$panel_kind" panel_is_drawn && panel_settle && panel_calms
}

panel_calms() {
    local turn since=$SECONDS
    [ -z "$panel_first_key" ] || { sleep 2; xdotool key "$panel_first_key"; }
    for turn in {1..240}; do
        [ $((SECONDS - since)) -lt "$panel_calm" ] || return 0
        mv "$panel_work/now.png" "$panel_work/then.png"
        sleep 0.25
        panel_shot "$panel_work/now.png"
        ! panel_differs "$panel_work/then.png" "$panel_work/now.png" >/dev/null || since=$SECONDS
    done
}

panel_again() {
    kill -9 "$panel_pid"
    wait "$panel_pid" 2>/dev/null
    panel_wait 20 "end of the panel" panel_has_no_watcher && panel_launch
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

panel_is_drawn() {
    panel_shot "$panel_work/now.png"
    panel_differs "$panel_work/bare.png" "$panel_work/now.png" >/dev/null
}

panel_daemon() {
    panel_support="$HOME/Library/Application Support/Larkmoor"
    mkdir -p "$panel_support" "$HOME/Library/Logs"
    touch "$panel_support"/{terms-agreed,recovery-key-passed,data.db}
    models_leave_out "$panel_support"
    "$@" >"$panel_work/daemon.log" 2>&1 &
    panel_daemon_pid=$!
    panel_children+=("$panel_daemon_pid")
    panel_wait 30 "daemon" panel_order Subscribers >/dev/null 2>&1
}

panel_order() {
    dbus-send --session --print-reply --dest=tools.fenwright.larkmoor.gateway /tools/fenwright/larkmoor/understudy \
        "tools.fenwright.larkmoor.Understudy.$1" "${@:2}"
}

panel_told() { panel_order Log | grep -qF -- "$1"; }

panel_refreshed() {  # any word of the journey's window is a refresh
    busctl --address="$DBUS_SESSION_BUS_ADDRESS" emit /tools/fenwright/larkmoor/notifications \
        tools.fenwright.larkmoor.Notifications Posted 'ssa{ss}' tools.fenwright.larkmoor.journey-visible 0 0
    "$@"
}

panel_run() {
    "$@" >"$panel_work/said" 2>&1 &
    panel_program=$!
    panel_children+=("$panel_program")
}

panel_shot() {
    import -silent -window root "$1"
    [ -z "$panel_hidden" ] || mogrify -fill black -draw "$panel_hidden" "$1"
}

panel_differs() {
    local box
    box=$(convert "$1" "$2" -compose difference -composite -colorspace gray -threshold 4% -bordercolor black -border 1 \
        -trim -format '%wx%h+%[fx:page.x-1]+%[fx:page.y-1]' info: 2>/dev/null)
    case $box in '' | *+-*) return 1 ;; esac
    printf '%s\n' "$box"
}

panel_settle() {
    local turn
    panel_shot "$panel_work/now.png"
    for turn in {1..12}; do
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
    if ! panel_wait 20 "icon on the panel" panel_icon_appeared; then
        cat "$panel_work/said" "$panel_work/panel.log" >&2
        return 1
    fi
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

# A menu is higher than the icon with the tip that a panel shows below it.
panel_menu_shows() {
    local width height
    panel_shot "$panel_work/now.png"
    panel_menu=$(panel_differs "$panel_work/closed.png" "$panel_work/now.png") &&
        IFS='x+' read -r width height _ <<<"$panel_menu" && [ "$height" -gt 100 ]
}

panel_menu_is_gone() { ! panel_menu_shows; }

panel_open() {
    panel_shot "$panel_work/closed.png"
    xdotool mousemove "$panel_x" "$panel_y" sleep "$panel_hover" click "$panel_button"
    panel_wait 20 "menu" panel_menu_shows && panel_settle
}

panel_close() {
    xdotool key Escape mousemove 700 500
    [ "$panel_keyboard" = yes ] || xdotool click 1
    panel_wait 20 "end of the menu" panel_menu_is_gone || return 1
    # Until then the icon may look as if it were pointed at.
    xdotool mousemove 690 510 click 1
    panel_settle
}

# From the top down, the first row that is on is hit: a click on one that is off does nothing, and a menu that a click
# between rows closed is opened again, unless the command just needs a moment.
panel_click_first_row() {
    local width height x y down turn
    IFS='x+' read -r width height x y <<<"$panel_menu"
    for ((down = (y > panel_y ? y : panel_y + 12) + 10; down < y + height; down += 6)); do
        panel_menu_shows || { panel_wait 2 "word" "$@" 2>/dev/null && return 0; } || panel_open || return 1
        xdotool mousemove $((x + width / 4)) "$down" sleep "$panel_hover" click 1
        for turn in 1 2 3; do
            "$@" && return 0
            sleep 0.05
        done
    done
    panel_wait 20 "word of the click" "$@"
}

panel_keys() {
    local key
    for key in "$@"; do xdotool key "$key"; sleep 0.1; done
    panel_settle
}

panel_stop() {
    local child
    for ((child = ${#panel_children[@]} - 1; child >= 0; child--)); do kill "${panel_children[child]}" 2>/dev/null || true; done
    wait 2>/dev/null || true
    [ -n "${LARKMOOR_PANEL_KEEP:-}" ] || rm -rf "$panel_work"
}
