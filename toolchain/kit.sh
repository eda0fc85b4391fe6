# Sourced by ../zeb: makes the kit that checks the module on any Windows machine; see tests/kit/README.md.
#
# <build>/package/zebbridge-<version>-windows-check.zip
KIT_RUNTIMES="node:${NODE%%.*}:$ZEB_NODE_WIN:$ZEB_NODE_LINUX node24:24:$ZEB_NODE24_WIN:$ZEB_NODE24_LINUX \
    node26:26:$ZEB_NODE26_WIN:$ZEB_NODE26_LINUX"  # flavour, release, folders of the executable and of the licence
KIT_SCRIPTS="binding-arguments binding-objects binding-results ends exports hardware capture-lifetime capture-workers misuse several-environments"
KIT_PROGRAMS="toolchain-modules unit-failure unit-format unit-interfaces unit-lock unit-platform_services unit-slots unit-text"
KIT_PRESET="windows-release"

lay_out_kit() {
    local name kit pair flavour release windows linux built=$BUILD/$KIT_PRESET
    name=zebbridge-$(python3 -c 'import json; print(json.load(open("package.json"))["version"])')-windows-check
    kit=$PACKAGE/$name
    rm -rf "$kit" && mkdir -p "$kit"/{native,programs,runtimes,tests/script} &&
        cp tests/kit/check.cmd tests/kit/README.md "$kit" && cp -r "$PACKAGE/content" "$kit/zebbridge" &&
        cp index.d.ts "$kit" &&  # tests hold the module against it
        cp -r tests/kit "$kit/tests" && rm "$kit"/tests/kit/{check.cmd,README.md,CMakeLists.txt,kit.test.js} &&
        cp -r tests/script/support "$kit/tests/script" && mv "$kit"/tests/{kit,script}/support/x11.js &&
        cp "$built/toolchain/selftest/probe.dll" "$built/node/selftest.node" "$kit/programs" || return
    for name in $KIT_SCRIPTS; do cp "tests/script/$name.test.js" "$kit/tests/script" || return; done
    for name in $KIT_PROGRAMS; do cp "$built"/*/*/"$name.exe" "$kit/programs" || return; done
    for pair in $PACKAGE_FLAVOURS; do
        flavour=$kit/native/${pair%:*}/node  # one build folder per runtime, laid out as the scripts expect
        mkdir -p "$flavour" && cp "$kit/zebbridge/prebuilds/win32-x64/zebbridge.abi${pair#*:}.node" "$flavour/zebbridge.node" &&
            cp "$built/node"/{desktop,standin}-control.node "$flavour" || return  # fit every runtime
    done
    for pair in $KIT_RUNTIMES; do
        IFS=: read -r flavour release windows linux <<<"$pair"
        for name in binding-probe harness environments; do
            [ ! -e "$built/$flavour/$name.node" ] || cp "$built/$flavour/$name.node" "$kit/native/$flavour/node" || return
        done
        mkdir "$kit/runtimes/node$release" && cp "$windows/bin/node.exe" "$linux/LICENSE" "$kit/runtimes/node$release" || return
    done
    python3 toolchain/zip.py "$kit" "$kit.zip" && rm -rf "$kit" && ls -l "$kit.zip"
}

verb_kit() {
    verb_package && step "build the kit's parts" build "$KIT_PRESET" kit-parts && step "lay out the kit" lay_out_kit
}
