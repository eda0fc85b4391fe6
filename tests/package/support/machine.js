'use strict';

const assert = require('node:assert');
const { spawn, spawnSync } = require('node:child_process');
const { createHash, randomBytes } = require('node:crypto');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { root } = require('./package.js');

const digest = (algorithm, data, encoding = 'hex') => createHash(algorithm).update(data).digest(encoding);

// ./zeb as on a machine of its own: its cache and build folder are empty, its disk has room, and what fetches, installs
// and builds is a stand-in that fails. Nothing reaches the network or changes the real machine.
class Machine {
  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-machine-'));
    this.cache = this.path('zebbridge');
    this.children = [];
    fs.mkdirSync(this.path('bin'));
    for (const name of ['npm', 'apt-get', 'sudo', 'cmake', 'ninja']) this.standIn(name, 'exit 9');
    this.standIn('df', 'echo Avail; echo 9000M');
  }

  end() {
    for (const { pid } of this.children) {
      try {
        process.kill(-pid, 'SIGKILL');
      } catch {} // it has ended
    }
    fs.rmSync(this.folder, { recursive: true, force: true });
  }

  path(name) {
    return path.join(this.folder, name);
  }

  // A program that comes before the machine's own. Its shell text finds the machine's folder in $MACHINE.
  standIn(name, text) {
    fs.writeFileSync(this.path(`bin/${name}`), `#!/bin/bash\n${text}\n`, { mode: 0o755 });
  }

  // Starts ./zeb in a process group of its own, to which a terminal would send its signals. `done` resolves to
  // { status, out, err }, at the latest after a minute.
  start(args, environment = {}) {
    const child = spawn(path.join(root, 'zeb'), args, {
      detached: true,
      stdio: ['ignore', 'pipe', 'pipe'],
      timeout: 60_000,
      killSignal: 'SIGKILL',
      env: {
        PATH: `${this.path('bin')}:${process.env.PATH}`,
        HOME: this.folder,
        XDG_CACHE_HOME: this.folder,
        TMPDIR: this.folder,
        ZEB_BUILD_DIR: this.path('build'),
        MACHINE: this.folder,
        'BASH_FUNC_verb_try%%': '() { eval "$1"; }', // bash imports this function, so ./zeb has one more verb
        ...environment,
      },
    });
    this.children.push(child);
    const texts = ['', ''];
    [child.stdout, child.stderr].forEach((stream, index) => {
      stream.setEncoding('utf8').on('data', (text) => {
        texts[index] += text;
      });
    });
    child.done = new Promise((resolve) => {
      child.on('close', (status) => resolve({ status, out: texts[0], err: texts[1] }));
    });
    return child;
  }

  zeb(...args) {
    return this.start(args).done;
  }

  // Runs shell text in ./zeb, with its functions and variables.
  attempt(text, environment) {
    return this.start(['try', text], environment).done;
  }

  // What the cache holds, besides the locks that stay.
  parts({ recursive = true } = {}) {
    const all = fs.existsSync(this.cache) ? fs.readdirSync(this.cache, { recursive }) : [];
    return all.filter((name) => !name.startsWith('.locks')).sort();
  }

  // The command said once what is wrong and what to do, and left nothing in the cache.
  assertRefused({ status, err }, why, remedy) {
    const said = [...err.matchAll(/^zeb: (.*)(?:\n {5}(.*)$)?/gm)].map(([, ...lines]) => lines);
    assert.deepStrictEqual(said, [[why, remedy]], `${why}\n${err}`);
    assert.strictEqual(status, 1);
    assert.deepStrictEqual(this.parts(), []);
  }

  // Packs { path: content } and keeps that share of the archive.
  archive(name, contents, share = 1) {
    for (const [file, content] of Object.entries(contents)) {
      fs.mkdirSync(path.dirname(this.path(file)), { recursive: true });
      fs.writeFileSync(this.path(file), content, { mode: 0o755 });
    }
    const packed = spawnSync('/usr/bin/tar', ['caf', name, ...Object.keys(contents)], { cwd: this.folder });
    assert.strictEqual(packed.status, 0, String(packed.stderr));
    fs.truncateSync(this.path(name), Math.floor(fs.statSync(this.path(name)).size * share));
    return this.path(name);
  }

  // A package that npm delivers: returns the text that makes a part of it. Random contents do not get smaller, so that
  // half of the archive has half of them.
  nodePackage(share) {
    const contents = { 'package/bin/first': randomBytes(50000), 'package/bin/node.exe': randomBytes(50000) };
    const hash = digest('sha512', fs.readFileSync(this.archive('node.tgz', contents, share)), 'base64');
    this.standIn('npm', 'cp "$MACHINE/node.tgz" .');
    return `make_part "$ZEB_CACHE/node/part" fetch fetch_node node 1 '${hash}' "$ZEB_CACHE/node/part"`;
  }

  // A source package of LLVM that apt knows: returns the hash of its contents.
  llvmPackage(share) {
    const contents = { 'llvm/libcxx/include/a': randomBytes(50000), 'llvm/libcxx/src/b': randomBytes(50000) };
    const file = this.archive('llvm.orig.tar.xz', contents, share);
    this.standIn(
      'apt-get',
      `case $* in
        *indextargets*) echo "deb-src http://127.0.0.1:1 stable main Debian" ;;
        *--print-uris*) echo "'file:${file}' llvm.orig.tar.xz 1 SHA256:${digest('sha256', fs.readFileSync(file))}" ;;
      esac`,
    );
    const lines = Object.entries(contents).map(([name, data]) => `${digest('sha256', data)}  ${name.slice(12)}\n`);
    return digest('sha256', lines.join(''));
  }
}

module.exports = { Machine, digest };
