# Shared by ./run, ./desktop and ./prefix. The arrays `wine` and `wineserver` are the commands to run them.
export WINEARCH=win64 LC_ALL=C.UTF-8  # file names and system texts do not depend on the user
export TZ=UTC  # a zone that Wine and Node.js know without a list
export WINEDEBUG=${WINEDEBUG:--all}
unset TMPDIR  # if it is set, to any folder, Wine 10 ends with "free(): invalid pointer" and shows no desktop
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winedbg.exe=d}  # a crash must not open the debugger's dialog
[ -n "${ZEB_WINE_TEMPLATE:-}" ] || eval "$("$here/../locate")"

# The programs themselves, because the scripts around them complain that the 32-bit half is missing, which nothing here
# needs.
export WINELOADER=/usr/lib/wine/wine64 WINESERVER=/usr/lib/wine/wineserver64
wine=("$WINELOADER")
wineserver=("$WINESERVER")
if [ -n "$ZEB_WINE_ROOT" ]; then
    export FONTCONFIG_FILE=$here/fonts.conf
    wine=("$here/../in-root" "$ZEB_WINE_ROOT" "$WINELOADER")
    wineserver=("$here/../in-root" "$ZEB_WINE_ROOT" "$WINESERVER")
fi

# Sets WINEPREFIX to the build folder's prefix unless it is set.
find_prefix() {
    local build=${ZEB_BUILD_DIR:-$here/../../build}
    export WINEPREFIX=${WINEPREFIX:-$(realpath -m "$build")/$(basename "$ZEB_WINE_TEMPLATE")}
}

# Nearly all of a prefix (700 MB) is the system's own DLLs, which nobody writes to, so they are hard links where
# possible.
copy_template() {  # folder
    local system=drive_c/windows/system32
    rm -rf "$1"
    mkdir -p "$1/$system" &&
        (cd "$ZEB_WINE_TEMPLATE" && tar c --exclude="./$system" .) | tar x -C "$1" &&
        { cp -al "$ZEB_WINE_TEMPLATE/$system/." "$1/$system" 2>/dev/null ||
            cp -a --reflink=auto "$ZEB_WINE_TEMPLATE/$system/." "$1/$system"; }
}

# Like find_prefix, and copies the template if the prefix is missing.
open_prefix() {
    find_prefix
    [ -d "$WINEPREFIX" ] && return
    mkdir -p "$(dirname "$WINEPREFIX")"
    (
        flock 9
        [ -d "$WINEPREFIX" ] && exit 0
        [ -d "$ZEB_WINE_TEMPLATE" ] || "$here/prefix" "$ZEB_WINE_TEMPLATE" || exit 1
        copy_template "$WINEPREFIX.copying" && mv -T "$WINEPREFIX.copying" "$WINEPREFIX"
    ) 9>"$WINEPREFIX.making.lock"
}
