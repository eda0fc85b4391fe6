# Sourced by ../zeb: builds the measured modules, optimised, natively and for Windows, and runs all measurements.
#
#   ZEB_BENCH_RECORDS         pointer records per stream, default 1000000; fewer for a quick look
#   ZEB_BENCH_MOUSE_SECONDS   how long each mouse runs, default 5

bench_build() {  # preset, targets...
    run cmake --preset "$1" -B "$BUILD/$1" --log-level=WARNING \
        -DZEB_NODE_ADDON_API="$ZEB_BENCH_PACKAGES/node_modules/node-addon-api" >/dev/null &&
        run ninja -C "$BUILD/$1" -j "$ZEB_JOBS" "${NINJA_OPTIONS[@]}" "${@:2}"
}

bench_on() {  # linux|windows, arguments...
    local system=$1
    shift
    case $system in
        linux) run "$ZEB_NODE_LINUX/bin/node" --expose-gc "$@" ;;
        windows)
            ZEB_WINE_LIVE=1 ZEB_WINE_TIMEOUT=1200 \
                run toolchain/wine/run "$ZEB_NODE_WIN/bin/node.exe" --expose-gc "${@/#\//Z:/}"
            ;;
    esac
}

# A desktop without a screen, with its own prefix. An X server would answer each raw input report with an echo, which
# Wine takes for another report.
bench_real_mouse() {  # result file
    local WINEPREFIX ZEB_BUILD=Z:$BUILD/windows-release
    WINEPREFIX=$BUILD/$(basename "$ZEB_WINE_TEMPLATE")-bench
    export WINEPREFIX ZEB_BUILD
    toolchain/wine/run reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null &&
        bench_on windows "$ROOT/bench/mouse-real.js" "$ZEB_BENCH_PACKAGES/node_modules" "$1"
}

verb_bench() {
    local results=$BUILD/bench system modules
    setup_windows
    make_part "$ZEB_BENCH_PACKAGES" "fetch what is measured beside the module" \
        fetch_from_npm bench "$ZEB_BENCH_PACKAGES" --force  # takes a package that only another system can load, too
    rm -rf "$results" && mkdir -p "$results"
    step "build for Linux" bench_build linux-release bench_module bench_peers &&
        step "build for Windows" bench_build windows-release bench_module bench_peers bench_sender zebbridge_node \
            desktop_control_node || return
    for system in linux windows; do
        modules=$BUILD/$system-release/node
        step "measure calls and events on $system" \
            bench_on $system "$ROOT/bench/measure.js" "$modules" "$results/$system.json" || return
        # From here on, a measurement that does not run becomes a row of the table that says so.
        step "measure a mouse on $system" bench_on $system "$ROOT/bench/mouse.js" "$modules" \
            "$ZEB_BENCH_PACKAGES/node_modules" "$results/mouse-$system.json"
    done
    step "measure a mouse of the system" bench_real_mouse "$results/mouse-desktop.json"
    run "$ZEB_NODE_LINUX/bin/node" bench/report.js "$results" "$results" || return
    echo "to record them: cp $results/RESULTS.md $results/results.svg bench/"
}
