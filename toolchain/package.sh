# Sourced by ../zeb: makes the npm package and the parts that its tests need.
#
# <build>/package/zebbridge-<version>.tgz          what applications install
# <build>/package/zebbridge-<version>-symbols.tgz  a PDB per binary, for debuggers and crash dumps
# <build>/package/zebbridge-<version>-sbom.cdx.json   what is in the binaries and the script
# <build>/package/content                          the first, unpacked
PACKAGE=$BUILD/package

# Lays out the binaries of every flavour and the files that package.json names as they are installed.
lay_out_package() {
    local content=$PACKAGE/content symbols=$PACKAGE/symbols runtime flavour abi linux headers=() version
    version=$(python3 -c 'import json; print(json.load(open("package.json"))["version"])')
    rm -rf "$PACKAGE"
    mkdir -p "$content/prebuilds/win32-x64" "$symbols"
    cp -r ./*.js ./*.mjs ./*.d.ts ./*.d.mts ./*.md LICENSE THIRD_PARTY_NOTICES lib docs examples "$content" || return
    sed -i '/^## Working on it/,$d' "$content/README.md"  # that part links to files that only the checkout has
    node -e '
        const { scripts, ...manifest } = require("./package.json");  // the scripts are the checkout'"'"'s
        fs.writeFileSync(process.argv[1], JSON.stringify(manifest, null, 2) + "\n");' "$content/package.json" || return
    for runtime in ${RUNTIMES//,/ }; do
        flavour=${runtime%:*} abi=${runtime#*:} linux=ZEB_${flavour^^}_LINUX
        cp "$BUILD/windows-release/$flavour/zebbridge.node" \
            "$content/prebuilds/win32-x64/zebbridge.abi$abi.node" || return
        mkdir "$symbols/abi$abi" && cp "$BUILD/windows-release/$flavour/zebbridge.pdb" "$symbols/abi$abi/" || return
        [ "$flavour" = desktop ] || headers+=("${!linux}/include/node")
    done
    NODE_PATH=$ZEB_PACKAGE_TOOLS/node_modules node toolchain/sbom.js "$PACKAGE/zebbridge-$version-sbom.cdx.json" "$ZEB_LIBCXX" \
        "${headers[@]}" || return
    node toolchain/libraries/bundle.js "$ZEB_LIBRARIES" "$content" || return
    (cd "$content" && quietly npm pack --pack-destination "$PACKAGE") || return
    tar czf "$PACKAGE/zebbridge-$version-symbols.tgz" --sort=name --owner=0 --group=0 --mtime=@0 -C "$symbols" . &&
        ls -l "$PACKAGE"/*.{tgz,json}
}

verb_package() {
    local runtime targets=()
    for runtime in ${RUNTIMES//,/ }; do targets+=("zebbridge_${runtime%:*}"); done
    setup_package && step "build every flavour" build windows-release "${targets[@]}" && step "lay out" lay_out_package
}

lane_package() {
    need_room "${TMPDIR:-/tmp}" 2000 TMPDIR  # two tests unpack the kit at the same time, one with a prefix of its own
    case ${1:-kit} in kit | rehearsal) verb_kit || return ;; *) verb_package || return ;; esac
    build windows-release desktop_control_node standin_control_node || return
    run_tests windows-release package "$1"
}
