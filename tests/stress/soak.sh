# Sourced by ../../zeb: the long runs, and which lines the tests reach.

SOAK_CALLS=1000000  # of the script fuzzer
SOAK_SCALE=50       # of the stress tests: 10,000,000 records
SOAK_CROSSINGS="delivery-array environments-freed-inside"  # tests whose variants the lanes run by turns

preset_of() { case $1 in linux) echo linux-debug ;; asan) echo linux-asan ;; windows) echo windows-release ;; esac; }

# Runs Node.js for one of the systems: with that build, and with paths as that Node.js reads them. On Windows, it is that of
# the caller's `flavour`.
node_on() {  # linux|asan|windows, arguments...
    local system=$1 build program=ZEB_${flavour^^}_WIN
    build=$BUILD/$(preset_of "$1")
    shift
    case $system in
        linux) ZEB_BUILD=$build "$ZEB_NODE_LINUX/bin/node" --expose-gc "$@" ;;
        asan)
            # A small quarantine, because the tests look for growing memory.
            LD_PRELOAD=$(clang-"$LLVM" -print-file-name=libclang_rt.asan-x86_64.so) \
                ASAN_OPTIONS=detect_leaks=0:quarantine_size_mb=16 ZEB_BUILD=$build "$ZEB_NODE_LINUX/bin/node" --expose-gc "$@"
            ;;
        windows)
            ZEB_BUILD=Z:$build ZEB_FLAVOUR=$flavour ZEB_WINE_LIVE=1 ZEB_WINE_TIMEOUT=14400 \
                toolchain/wine/run "${!program}/bin/node.exe" --expose-gc "${@/#\//Z:/}"
            ;;
    esac
}

random_script() {  # linux|asan|windows, add-on, calls or seconds
    local seed=$((RANDOM * 32768 + RANDOM))
    step "random script on $1, $2: $3" run node_on "$1" "$ROOT/tests/scriptfuzz/fuzz.js" \
        "$BUILD/$(preset_of "$1")/$flavour/$2.node" $seed "$3"
}

flavour_of() {  # release of Node.js
    local runtime pin
    for runtime in ${RUNTIMES//,/ }; do
        pin=${runtime%:*} pin=${pin^^}
        [[ ${!pin:-} != "$1".* ]] || echo "${runtime%:*}"
    done
}

verb_soak() {  # [linux|asan|windows [release]]
    local status=0 system file flavour=node
    [ -z "${1:-}" ] || [ -n "$(preset_of "$1")" ] || die "no system '$1'" "systems: linux asan windows"
    if [ -n "${2:-}" ]; then
        [ "$1" = windows ] || die "only the system 'windows' takes a release" "./zeb soak windows $2"
        flavour=$(flavour_of "$2")
        [ -n "$flavour" ] || die "no runtime '$2'" "runtimes: $RELEASES"
        setup_runtimes "$2"
    fi
    for system in ${1:-linux asan windows}; do
        step "build for $system" build "$(preset_of "$system")" zeb_environments_$flavour zeb_harness_$flavour zebbridge_$flavour ||
            return
        for file in capture environments process-ends worker-ends; do
            ZEB_STRESS=$SOAK_SCALE step "$file on $system, $SOAK_SCALE times as long" \
                run node_on "$system" --test-reporter=spec "$ROOT/tests/stress/stress-$file.test.js" || status=1
        done
        for file in $SOAK_CROSSINGS; do
            step "$file on $system, every variant" run node_on "$system" --test-reporter=spec "$ROOT/tests/script/$file.test.js" ||
                status=1
        done
        random_script "$system" harness "$SOAK_CALLS" || status=1
    done
    [ "$system" != windows ] || random_script windows zebbridge "$SOAK_CALLS" || status=1
    return $status
}

# Fuzzes for the given seconds each: under the address sanitizer, and the binary that ships.
fuzz_scripts() {  # seconds
    local status=0 flavour=node
    step "build what random script calls" build linux-asan zeb_harness_node && build windows-release zeb_harness_node zebbridge_node ||
        return
    random_script asan harness "$1s" || status=1
    random_script windows harness "$1s" || status=1
    random_script windows zebbridge "$1s" || status=1
    return $status
}

# Which lines of the product the native tests reach: the unit tests and the portable layers inside Node.js.
verb_coverage() {
    local results=$BUILD/linux-coverage/coverage
    rm -rf "$results" && mkdir -p "$results"
    step "build" build linux-coverage &&
        LLVM_PROFILE_FILE=$results/%p-%m.profraw step "tests" run_tests linux-coverage unit "" || return
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
