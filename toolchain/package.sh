# Sourced by ../zeb: makes the npm package and the parts that its tests need.
#
# <build>/package/zebbridge-<version>.tgz          what applications install
# <build>/package/zebbridge-<version>-symbols.tgz  a PDB per binary, for debuggers and crash dumps
# <build>/package/zebbridge-<version>-sbom.cdx.json   what is in the binaries and the script
# <build>/package/content                          the first, unpacked
PACKAGE=$BUILD/package
PACKAGE_FLAVOURS="desktop:123 node:127 node24:137 node26:147"  # flavour and module version; also in ../lib/native.js

# Lays out the binaries of every flavour and the files that package.json names as they are installed.
lay_out_package() {
    local content=$PACKAGE/content symbols=$PACKAGE/symbols pair flavour abi version
    version=$(python3 -c 'import json; print(json.load(open("package.json"))["version"])')
    rm -rf "$PACKAGE"
    mkdir -p "$content/prebuilds/win32-x64" "$symbols"
    cp -r ./*.js ./*.mjs ./*.d.ts ./*.d.mts ./*.md LICENSE THIRD_PARTY_NOTICES lib docs examples "$content" || return
    sed -i '/^## Working on it/,$d' "$content/README.md"  # that part links to files that only the checkout has
    node -e '
        const { scripts, ...manifest } = require("./package.json");  // the scripts are the checkout'"'"'s
        fs.writeFileSync(process.argv[1], JSON.stringify(manifest, null, 2) + "\n");' "$content/package.json" || return
    for pair in $PACKAGE_FLAVOURS; do
        flavour=${pair%:*} abi=${pair#*:}
        cp "$BUILD/windows-release/$flavour/zebbridge.node" \
            "$content/prebuilds/win32-x64/zebbridge.abi$abi.node" || return
        mkdir "$symbols/abi$abi" && cp "$BUILD/windows-release/$flavour/zebbridge.pdb" "$symbols/abi$abi/" || return
    done
    NODE_PATH=$ZEB_PACKAGE_TOOLS/node_modules node toolchain/sbom.js "$PACKAGE/zebbridge-$version-sbom.cdx.json" "$ZEB_LIBCXX" \
        {"$ZEB_NODE_LINUX","$ZEB_NODE24_LINUX","$ZEB_NODE26_LINUX"}/include/node || return
    node toolchain/libraries/bundle.js "$ZEB_LIBRARIES" "$content" || return
    (cd "$content" && quietly npm pack --pack-destination "$PACKAGE") || return
    tar czf "$PACKAGE/zebbridge-$version-symbols.tgz" --sort=name --owner=0 --group=0 --mtime=@0 -C "$symbols" . &&
        ls -l "$PACKAGE"/*.{tgz,json}
}

verb_package() {
    local pair targets=()
    for pair in $PACKAGE_FLAVOURS; do targets+=("zebbridge_${pair%:*}"); done
    setup_package && step "build every flavour" build windows-release "${targets[@]}" && step "lay out" lay_out_package
}

# Builds the product again from a copy of the sources in another folder, without sharing objects.
build_again() {
    local again=$BUILD/again
    rm -rf "$again"
    mkdir -p "$again/sources" && tar c --exclude=.git --exclude=./build --exclude=node_modules . |
        tar x -C "$again/sources" || return
    run cmake --preset windows-release -S "$again/sources" -B "$again/build" -DZEB_FLAVOURS=desktop \
        --log-level=WARNING >/dev/null &&
        CCACHE_NAMESPACE=again run ninja -C "$again/build" -j "$ZEB_JOBS" "${NINJA_OPTIONS[@]}" zebbridge_desktop
}

lane_package() {
    case ${1:-kit} in kit) verb_kit || return ;; *) verb_package || return ;; esac
    build windows-release desktop_control_node standin_control_node || return
    case ${1:-reproducible} in reproducible) step "build the product again, elsewhere" build_again || return ;; esac
    run_tests windows-release package "$1"
}
