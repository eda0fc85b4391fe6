# Shared by ./run and ./desktop.
export WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winedbg.exe=d}  # a crash must not open the debugger's dialog

# Sets WINEPREFIX and makes the prefix, if it is missing, as a copy of the template.
open_prefix() {
    local root build
    root=$(cd "$here/../.." && pwd)
    build=${ZEB_BUILD_DIR:-$root/build}
    export WINEPREFIX=${WINEPREFIX:-$(realpath -m "$build")/wine}
    [ -d "$WINEPREFIX" ] && return
    mkdir -p "$(dirname "$WINEPREFIX")"
    (
        flock 9
        [ -d "$WINEPREFIX" ] && exit 0
        eval "$("$here/../locate")"
        [ -d "$ZEB_WINE_TEMPLATE" ] || "$here/prefix" "$ZEB_WINE_TEMPLATE" || exit 1
        cp -a --reflink=auto "$ZEB_WINE_TEMPLATE" "$WINEPREFIX.copying" && mv -T "$WINEPREFIX.copying" "$WINEPREFIX"
    ) 9>"$WINEPREFIX.making.lock"
}

# Debian's wine script advises installing the 32-bit half, which nothing here needs.
wine_noise_filter() {
    grep -v -e 'wine32 is missing' -e 'multiarch needs to be' -e 'execute "dpkg --add' -e '^wine32:i386"\?' \
        -e 'apt-get install wine32' || true
}
