# Sourced by ../zeb: a Node.js for Linux whose V8 is built with the product's flags, and the tests that run in it.
#
#   ZEB_ENGINE   the archive of an engine; by default ../shared/engine/engine.tar.xz beside the checkout, if it exists
#
# The archive is unpacked into the cache, where every checkout finds it from then on. An engine that ./zeb engine has
# built there comes before an archive that merely lies beside the checkout. See engine/README.md.

unpack_engine() {  # archive, folder
    local work root
    make_work
    root=$work/root
    tar xJf "$1" -C "$work" && [ -x "$root/opt/node" ] && [ -e "$work/include/node/config.gypi" ] ||
        die "$1 cannot be unpacked as an engine" "is the archive complete? is there enough disk space? it takes 200 MB"
    chmod 755 "$work"
    [ -e "$root/usr/lib64" ] || mv "$root/lib64" "$root/usr/"  # this machine's /lib64 points there
    mv -T "$work" "$2" 2>/dev/null || true
}

# Sets ENGINE to the folder of this machine's engine; false if there is none.
find_engine() {
    local archive=${ZEB_ENGINE:-$ROOT/../shared/engine/engine.tar.xz} folder
    if [ -z "${ZEB_ENGINE:-}" ] && ENGINE=$(realpath -e "$ZEB_CACHE/engine-built" 2>/dev/null); then
        return
    elif [ -e "$archive" ]; then
        folder=engine-$(sha256sum <"$archive" | cut -c1-12)
        make_part "$ZEB_CACHE/$folder" "unpack the engine" unpack_engine "$archive" "$ZEB_CACHE/$folder"
        ln -sfnT "$folder" "$ZEB_CACHE/engine"
    elif [ -n "${ZEB_ENGINE:-}" ]; then
        die "ZEB_ENGINE names a file that does not exist: $ZEB_ENGINE" "set it to the archive of an engine, or unset it"
    fi
    ENGINE=$(realpath -e "$ZEB_CACHE/engine" 2>/dev/null)
}

check_bubblewrap() {
    local refusal
    refusal=$(toolchain/in-root /nowhere true 2>&1) ||
        die "bubblewrap cannot run an engine here: $refusal" \
            "it needs root, or user namespaces: sysctl kernel.unprivileged_userns_clone=1"
}

check_engine() {
    local refusal
    check_bubblewrap
    refusal=$(toolchain/in-root "$ENGINE/root" /opt/node --version 2>&1 >/dev/null) ||
        die "the engine does not start here: $refusal" "remove $ENGINE, and unpack or build it again"
}

# Without a start-up snapshot, each start takes a second instead of a third of it.
make_snapshot() {
    local work=$ENGINE/start.blob.$$
    rm -f "$ENGINE"/start.blob.*
    [ ! -e "$ENGINE/start.blob" ] || return 0
    ! grep -q '"node_use_node_snapshot": "true"' "$ENGINE/include/node/config.gypi" || return 0  # it has one of its own
    toolchain/in-root "$ENGINE/root" /opt/node --snapshot-blob "$work" --build-snapshot /dev/null &&
        mv "$work" "$ENGINE/start.blob"
}

verb_engine() {
    local work=$ZEB_CACHE/engine-build folder free made
    setup_linux
    mkdir -p "$work"
    check_bubblewrap
    free=$(df --output=avail -B1G "$work" | tail -n 1)
    [ -e "$work/.compiled" ] || [ "$free" -ge 12 ] || die "the disk has $free GB left" "12 GB are needed below $ZEB_CACHE"
    step "build the engine (over an hour on two processors; an interrupted ./zeb engine continues where it stopped)" \
        nice toolchain/engine/build "$work" "$ENGINE_RELEASE" "$ZEB_JOBS" ||
        die "the engine is not complete" "./zeb engine continues where it stopped; its folder: $work"
    made=$work/engine
    folder=engine-$(sha256sum <"$made/root"/opt/node | cut -c1-12)
    [ -d "$ZEB_CACHE/$folder" ] || mv -T "$made" "$ZEB_CACHE/$folder" || exit
    ln -sfnT "$folder" "$ZEB_CACHE/engine-built" && rm -rf "$work"
    echo "./zeb test engine now runs in $ZEB_CACHE/$folder"
}

lane_engine() {  # [stem]
    setup_linux
    if ! find_engine; then
        echo "skipped: there is no engine with the product's flags; set ZEB_ENGINE=<archive>, or build one with ./zeb engine"
        echo 0 0 1 engine >>"$BUILD/totals"
        return
    fi
    check_engine
    make_snapshot && configure linux-engine && need_test linux-engine engine "${1:-}" -R "^engine-${1:-}\$" &&
        build linux-engine "engine-${1:-tests}" && run_tests linux-engine engine "${1:-}"
}
