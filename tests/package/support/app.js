'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { root, tarball } = require('./package.js');
const { run } = require('./run.js');

const tools = path.join(process.env.ZEB_PACKAGE_TOOLS, 'node_modules');

// A folder with the package in its node_modules, as an installation leaves it.
class App {
  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-app-'));
    this.installed = this.path('node_modules/zebbridge');
    fs.mkdirSync(this.installed, { recursive: true });
    run('tar', ['xzf', tarball, '--strip-components=1', '-C', this.installed]);
    this.write('package.json', '{ "name": "app", "private": true }');
  }

  path(name) {
    return path.join(this.folder, name);
  }

  write(name, text) {
    fs.mkdirSync(path.dirname(this.path(name)), { recursive: true });
    fs.writeFileSync(this.path(name), text);
    return this.path(name);
  }

  // Runs one of the tools, or a script that requires some of them, in this system's Node.js.
  tool(script, args = []) {
    const env = { ...process.env, NODE_PATH: tools, NODE_TEST_CONTEXT: undefined, NO_COLOR: '1' };
    const file = path.isAbsolute(script) ? script : path.join(tools, script);
    return run(process.execPath, [file, ...args], { cwd: this.folder, env, timeout: 280_000 });
  }

  remove() {
    fs.rmSync(this.folder, { recursive: true, force: true });
  }
}

const read = (page) => fs.readFileSync(path.join(root, page), 'utf8');

// The scripts on a page, in order.
const snippets = (page) => [...read(page).matchAll(/^```js\n(.*?)^```$/gms)].map(([, script]) => script);

const NODE = "entryPoints: ['main.js'], bundle: true, platform: 'node', outdir: 'out'";
const WEBPACK =
  // biome-ignore lint/suspicious/noTemplateCurlyInString: the text of a configuration
  "mode: 'production', target: 'node', entry: './main.js', output: { filename: 'main.js', path: `${__dirname}/out` }";

// For each bundler, found by the list item of the page that has its option: a configuration with that option or another
// one, how it runs, and what it makes.
const BUNDLERS = {
  esbuild: {
    item: /^- esbuild, with .*: `(.*)`$/m,
    config: [
      'esbuild.js',
      (option) => `require('esbuild').build({ ${NODE}, ${option} }).catch(() => process.exit(1));`,
    ],
    start: (app) => app.tool(app.path('esbuild.js')),
    output: 'out/main.js',
  },
  'esbuild, copying': {
    item: /^- esbuild, to copy .*: `(.*)`$/m,
    config: [
      'esbuild-copy.js',
      (option) => `require('esbuild').build({ ${NODE}, ${option} }).catch(() => process.exit(1));`,
    ],
    start: (app) => app.tool(app.path('esbuild-copy.js')),
    output: 'out/main.js',
  },
  webpack: {
    item: /^- webpack, with .*: `(.*)`$/m,
    config: [
      'webpack.js',
      (option) => `require('webpack')({ ${WEBPACK}, ${option} }, (error, stats) => {
            if (error || stats.hasErrors()) console.error(error ?? stats.toString());
            process.exitCode = error || stats.hasErrors() ? 1 : 0;
        });`,
    ],
    start: (app) => app.tool(app.path('webpack.js')),
    output: 'out/main.js',
  },
  rollup: {
    item: /^- rollup: `(.*)`$/m,
    config: [
      'rollup.config.mjs',
      (option) => `export default { input: 'main.mjs', output: { file: 'out/main.mjs', format: 'es' }, ${option} };`,
    ],
    start: (app) => app.tool('rollup/dist/bin/rollup', ['-c', app.path('rollup.config.mjs')]),
    output: 'out/main.mjs',
  },
  vite: {
    item: /^- vite, in .*: `(.*)`$/m,
    config: ['vite.config.mjs', (option) => `export default { build: { ssr: 'main.mjs', outDir: 'out', ${option} } };`],
    start: (app) => app.tool('vite/bin/vite.js', ['build', '--logLevel', 'error']),
    output: 'out/main.mjs',
  },
};

// Bundles the application's main.js or main.mjs with the option that docs/packaging.md gives, or with another one.
function bundle(app, name, option = BUNDLERS[name].item.exec(read('docs/packaging.md'))[1]) {
  const {
    config: [file, text],
    start,
    output,
  } = BUNDLERS[name];
  fs.rmSync(app.path('out'), { recursive: true, force: true });
  app.write(file, text(option));
  return { ...start(app), output };
}

module.exports = { App, bundle, read, snippets, tools };
