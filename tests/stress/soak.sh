# Sourced by ../../zeb: the long runs, and what the tests reach.

SOAK_CALLS=1000000  # of the script fuzzer
SOAK_SCALE=50       # of the stress tests: 10,000,000 records

script_linux() { ZEB_BUILD=$BUILD/linux-debug "$ZEB_NODE_LINUX/bin/node" --expose-gc "$@"; }
script_windows() {
    ZEB_BUILD=Z:$BUILD/windows-release ZEB_WINE_LIVE=1 ZEB_WINE_TIMEOUT=14400 \
        toolchain/wine/run "$ZEB_NODE_WIN/bin/node.exe" --expose-gc "$@"
}
script_asan() {
    LD_PRELOAD=$(clang-"$LLVM" -print-file-name=libclang_rt.asan-x86_64.so) ASAN_OPTIONS=detect_leaks=0 \
        ZEB_BUILD=$BUILD/linux-asan "$ZEB_NODE_LINUX/bin/node" --expose-gc "$@"
}

soak_on() {  # system, prefix of its paths, the product's add-on there
    local system=$1 drive=$2 file status=0
    step "build" build "$3" "${@:4}" || return
    for file in tests/stress/capture.test.js tests/stress/ends.test.js; do
        ZEB_STRESS=$SOAK_SCALE step "$system: $file, $SOAK_SCALE times as long" \
            run "script_$system" --test-reporter=spec "$drive$ROOT/$file" || status=1
    done
    step "$system: $SOAK_CALLS random calls" run "script_$system" "$drive$ROOT/tests/scriptfuzz/fuzz.js" \
        "$drive$BUILD/$3/node/harness.node" "$((RANDOM * 32768 + RANDOM))" "$SOAK_CALLS" || status=1
    return $status
}

verb_soak() {  # [linux|windows]
    local status=0
    [ "${1:-linux}" != linux ] || soak_on linux "" linux-debug zeb_harness || status=1
    [ "${1:-windows}" != windows ] || soak_on windows Z: windows-release zeb_harness || status=1
    return $status
}

# Random script for so many seconds each: under the address sanitizer, and on what ships.
fuzz_scripts() {  # seconds
    local seed=$((RANDOM * 32768 + RANDOM)) status=0
    step "build what random script calls" build linux-asan zeb_harness && build windows-release zeb_harness zebbridge_node ||
        return
    step "random script, sanitized" \
        run script_asan tests/scriptfuzz/fuzz.js "$BUILD/linux-asan/node/harness.node" $seed "$1s" || status=1
    local target
    for target in harness zebbridge; do
        step "random script, $target.node" run script_windows "Z:$ROOT/tests/scriptfuzz/fuzz.js" \
            "Z:$BUILD/windows-release/node/$target.node" $seed "$1s" || status=1
    done
    return $status
}

# Which lines of the product the native tests reach: the unit tests and the portable layers inside Node.js.
verb_coverage() {
    local results=$BUILD/linux-coverage/coverage objects=()
    rm -rf "$results" && mkdir -p "$results"
    step "build" build linux-coverage &&
        LLVM_PROFILE_FILE=$results/%p-%m.profraw step "tests" run_tests unit linux-coverage "" || return
    llvm-profdata-"$LLVM" merge -sparse -o "$results/all.profdata" "$results"/*.profraw && rm "$results"/*.profraw || return
    local programs=() program
    for program in "$BUILD"/linux-coverage/tests/unit/unit-* "$BUILD"/linux-coverage/node/*.node; do
        [ ! -f "$program" ] || programs+=(${programs:+-object} "$program")
    done
    local about=("${programs[@]}" -instr-profile "$results/all.profdata" -ignore-filename-regex="^(tests|toolchain)/|^/")
    llvm-cov-"$LLVM" show "${about[@]}" -format html -output-dir "$results/html" &&
        llvm-cov-"$LLVM" report "${about[@]}" -show-region-summary=false -show-branch-summary=false &&
        echo "line by line: $results/html/index.html"
}
