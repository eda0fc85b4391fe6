# Sourced by ../zeb: builds the measured modules, optimised, natively and for Windows, and runs both measurements.
#
#   ZEB_BENCH_RECORDS   records per stream, default 1000000; fewer for a quick look

bench_dependencies() {  # prints the folder of node-addon-api
    local folder
    folder=$ZEB_CACHE/bench-$(sha256sum <bench/package-lock.json | cut -c1-12)
    if [ ! -d "$folder" ]; then
        local work
        work=$(mktemp -d "$ZEB_CACHE/fetch.XXXXXX")
        cp bench/package.json bench/package-lock.json "$work"
        (cd "$work" && npm ci --silent >/dev/null) || return
        mv -T "$work" "$folder" 2>/dev/null || true
    fi
    echo "$folder/node_modules/node-addon-api"
}

bench_build() {  # preset
    run cmake --preset "$1" -B "$BUILD/$1" --log-level=WARNING -DZEB_NODE_ADDON_API="$ZEB_NODE_ADDON_API" >/dev/null &&
        run ninja -C "$BUILD/$1" -j "$ZEB_JOBS" "${NINJA_OPTIONS[@]}" bench_module bench_peers
}

verb_bench() {
    setup_windows
    local ZEB_NODE_ADDON_API results=$BUILD/bench
    ZEB_NODE_ADDON_API=$(bench_dependencies) ||
        die "npm could not fetch what bench/package.json names" "is the network reachable? try: npm view node-addon-api"
    rm -rf "$results" && mkdir -p "$results"
    step "build for Linux" bench_build linux-release && step "build for Windows" bench_build windows-release || return
    step "measure natively" run "$ZEB_NODE_LINUX/bin/node" --expose-gc bench/measure.js \
        "$BUILD/linux-release/node" "$results/linux.json" >/dev/null || return
    ZEB_WINE_TIMEOUT=1200 step "measure in the Windows Node.js" run toolchain/wine/run "$ZEB_NODE_WIN/bin/node.exe" \
        --expose-gc "Z:$ROOT/bench/measure.js" "Z:$BUILD/windows-release/node" "Z:$results/windows.json" >/dev/null || return
    run "$ZEB_NODE_LINUX/bin/node" bench/report.js "$results" "$results" || return
    echo "to record them: cp $results/RESULTS.md $results/results.svg bench/"
}
