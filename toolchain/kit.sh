# Sourced by ../zeb: makes the kit that checks the module on any Windows machine; see tests/kit/README.md.
#
# <build>/package/zebbridge-<version>-windows-check.zip
KIT_SCRIPTS="binding-arguments binding-objects binding-results ends exports hardware capture-lifetime capture-workers misuse several-environments"
KIT_PROGRAMS="toolchain-modules unit-failure unit-format unit-interfaces unit-lock unit-platform_services unit-slots unit-text"
KIT_PRESET="windows-release"

lay_out_kit() {
    local name kit runtime flavour native pin windows linux node built=$BUILD/$KIT_PRESET
    name=zebbridge-$(python3 -c 'import json; print(json.load(open("package.json"))["version"])')-windows-check
    kit=$PACKAGE/$name
    rm -rf "$kit" && mkdir -p "$kit"/{native,programs,runtimes,tests/script} &&
        cp tests/kit/check.cmd tests/kit/README.md "$kit" && cp -r "$PACKAGE/content" "$kit/zebbridge" &&
        cp index.d.ts "$kit" &&  # tests hold the module against it
        cp -r tests/kit "$kit/tests" && rm "$kit"/tests/kit/{check.cmd,README.md,CMakeLists.txt,archive.js,{kit,rehearsal}.test.js} &&
        cp -r tests/script/support "$kit/tests/script" && mv "$kit"/tests/{kit,script}/support/x11.js &&
        cp "$built/toolchain/selftest/probe.dll" "$built/node/selftest.node" "$kit/programs" || return
    for name in $KIT_SCRIPTS; do cp "tests/script/$name.test.js" "$kit/tests/script" || return; done
    for name in $KIT_PROGRAMS; do cp "$built"/*/*/"$name.exe" "$kit/programs" || return; done
    for runtime in ${RUNTIMES//,/ }; do
        # One build folder per runtime, laid out as the scripts expect; check.js finds it by the module version.
        native=$kit/native/${runtime/:/-}/node flavour=${runtime%:*}
        mkdir -p "$native" && cp "$kit/zebbridge/prebuilds/win32-x64/zebbridge.abi${runtime#*:}.node" "$native/zebbridge.node" &&
            cp "$built/node"/{desktop,standin}-control.node "$native" || return  # fit every runtime
        [ "$flavour" != desktop ] || continue
        for name in binding-probe harness environments; do
            [ ! -e "$built/$flavour/$name.node" ] || cp "$built/$flavour/$name.node" "$native" || return
        done
        pin=${flavour^^} windows=ZEB_${pin}_WIN linux=ZEB_${pin}_LINUX node=$kit/runtimes/node${!pin%%.*}
        mkdir "$node" && cp "${!windows}/bin/node.exe" "${!linux}/LICENSE" "$node" || return
    done
    python3 toolchain/zip.py "$kit" "$kit.zip" && rm -rf "$kit" && ls -l "$kit.zip"
}

verb_kit() {
    verb_package && step "build the kit's parts" build "$KIT_PRESET" kit-parts && step "lay out the kit" lay_out_kit
}
