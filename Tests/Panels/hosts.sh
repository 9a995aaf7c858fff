# Sourced after panels.sh: more desktops. Each panel_configure_NAME is what panel_start asks for: it writes the settings,
# starts what the panel needs, and sets $panel_command. Most draw more than a panel: they count as up after $panel_calm
# seconds without a change.

panel_programs_plasma=(plasmashell kwin_x11 kded5)
panel_programs_gnome=(gnome-shell)
panel_programs_sway=(sway waybar)
panel_programs_mate=(mate-panel openbox)
panel_programs_cinnamon=(cinnamon /usr/libexec/xapps/sn-watcher/xapp-sn-watcher)

# What a desktop's session says of itself, for it and for all that the bus starts.
host_session() {
    export XDG_CURRENT_DESKTOP=$1 XDG_SESSION_TYPE=x11 GSETTINGS_BACKEND=keyfile LIBGL_ALWAYS_SOFTWARE=1 "${@:2}"
    dbus-update-activation-environment --all 2>/dev/null
}

# These expect a system bus. An empty one of their own answers that nothing is there.
host_system_bus() {
    dbus-daemon --session --nofork --address="unix:path=$panel_work/system" >>"$panel_work/bus.log" 2>&1 &
    panel_children+=($!)
    panel_wait 30 "system bus" test -S "$panel_work/system"
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$panel_work/system
}

host_background() {
    "$@" >>"$panel_work/panel.log" 2>&1 &
    panel_children+=($!)
}

host_settings() {
    mkdir -p "$XDG_CONFIG_HOME/glib-2.0/settings"
    cat >"$XDG_CONFIG_HOME/glib-2.0/settings/keyfile"
}

panel_configure_plasma() {
    cat >"$XDG_CONFIG_HOME/plasma-org.kde.plasma.desktop-appletsrc" <<'INI'
[Containments][1]
activityId=
formfactor=2
immutability=1
lastScreen=0
location=3
plugin=org.kde.panel
wallpaperplugin=org.kde.image

[Containments][1][Applets][3]
immutability=1
plugin=org.kde.plasma.systemtray
[Containments][1][Applets][3][Configuration]
SystrayContainmentId=5

[Containments][1][General]
AppletOrder=3

[Containments][5]
activityId=
formfactor=2
immutability=1
lastScreen=0
location=3
plugin=org.kde.plasma.private.systemtray
wallpaperplugin=org.kde.image

[Containments][5][General]
extraItems=
INI
    # What it knows, it does not add by itself.
    (cd /usr/share/plasma/plasmoids && printf 'knownItems=' && printf '%s,' *) \
        >>"$XDG_CONFIG_HOME/plasma-org.kde.plasma.desktop-appletsrc"
    printf '[KDE]\nAnimationDurationFactor=0\n[General]\nColorScheme=%s\n' \
        "$([ "$panel_colours" = dark ] && echo BreezeDark || echo BreezeLight)" >"$XDG_CONFIG_HOME/kdeglobals"
    printf '[Theme]\nname=%s\n' "$([ "$panel_colours" = dark ] && echo breeze-dark || echo breeze-light)" \
        >"$XDG_CONFIG_HOME/plasmarc"
    host_session KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=5 QT_QUICK_BACKEND=software QSG_RENDER_LOOP=basic
    host_background kwin_x11
    host_background kded5
    host_background /usr/lib/*/libexec/kactivitymanagerd
    panel_button=1 panel_hover=0.7 panel_calm=4 panel_restarts=no
    panel_command=(plasmashell --no-respawn)
}

panel_configure_gnome() {
    host_settings <<'INI'
[org/gnome/shell]
enabled-extensions=['ubuntu-appindicators@ubuntu.com']
disable-extension-version-validation=true
welcome-dialog-last-shown-version='99'
[org/gnome/desktop/interface]
enable-animations=false
[org/gnome/desktop/notifications]
show-banners=false
INI
    host_system_bus
    host_session GNOME GNOME_SHELL_SESSION_MODE=user
    # The clock in the middle of the panel would count as a change.
    panel_hidden="rectangle 300,0 500,30"
    # It begins with an overview.
    panel_first_key=Escape
    panel_button=1 panel_calm=3
    panel_command=(gnome-shell --x11)
}

# The compositor draws into a window of the X server, where pictures and clicks work as everywhere.
panel_configure_sway() {
    mkdir -p "$XDG_CONFIG_HOME/sway" "$XDG_CONFIG_HOME/waybar"
    cat >"$XDG_CONFIG_HOME/sway/config" <<'INI'
output * resolution 800x600
seat seat0 fallback true
default_border none
xwayland disable
INI
    echo '{ "layer": "top", "position": "top", "height": 32, "modules-left": ["tray"], "tray": { "icon-size": 20 } }' \
        >"$XDG_CONFIG_HOME/waybar/config"
    local ground=f0f0f0
    [ "$panel_colours" = dark ] && ground=202020
    echo "window#waybar { background: #$ground; }" >"$XDG_CONFIG_HOME/waybar/style.css"
    host_session sway XDG_SESSION_TYPE=wayland GDK_BACKEND=wayland WLR_BACKENDS=x11 WLR_RENDERER=pixman
    host_background sway
    panel_wait 30 "sway" host_sway_is_up || return 1
    export WAYLAND_DISPLAY=$host_wayland
    panel_button=1 panel_calm=1 panel_keyboard=no
    panel_command=(waybar)
}

host_sway_is_up() {
    host_wayland=$(find "$XDG_RUNTIME_DIR" -name 'wayland-*' -type s -printf '%f\n') && [ -n "$host_wayland" ] || return 1
    panel_shot "$panel_work/now.png"
    [ "$(convert "$panel_work/now.png" -format '%[fx:mean>0]' info:)" = 1 ]
}

panel_configure_mate() {
    host_settings <<'INI'
[org/mate/panel/general]
toplevel-id-list=['top']
object-id-list=['notification-area']
[org/mate/panel/toplevels/top]
expand=true
orientation='top'
size=28
screen=0
[org/mate/panel/objects/notification-area]
object-type='applet'
applet-iid='NotificationAreaAppletFactory::NotificationArea'
toplevel-id='top'
position=0
INI
    mkdir -p "$XDG_CONFIG_HOME/gtk-3.0"
    # What its settings daemon would say.
    printf '[Settings]\ngtk-menu-images=true\ngtk-application-prefer-dark-theme=%s\n' \
        "$([ "$panel_colours" = dark ] && echo true || echo false)" >"$XDG_CONFIG_HOME/gtk-3.0/settings.ini"
    host_session MATE
    host_background openbox
    # Its left click calls Activate whatever an item says; the menu is on the third button.
    panel_button=3 panel_calm=1
    panel_command=(mate-panel)
}

panel_configure_cinnamon() {
    host_settings <<'INI'
[org/cinnamon]
enabled-applets=['panel1:right:0:xapp-status@cinnamon.org:1']
panels-enabled=['1:0:top']
startup-animation=false
[org/cinnamon/desktop/interface]
enable-animations=false
INI
    host_system_bus
    host_session X-Cinnamon CINNAMON_SOFTWARE_RENDERING=1
    host_background /usr/libexec/xapps/sn-watcher/xapp-sn-watcher
    panel_button=1 panel_hover=0.5 panel_calm=4 panel_restarts=no
    panel_command=(cinnamon --replace)
}
