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

    // Runs one of the tools, or a script that requires some, in this system's Node.js.
    tool(script, args = []) {
        const env = { ...process.env, NODE_PATH: tools, NODE_TEST_CONTEXT: undefined, NO_COLOR: '1' };
        const file = path.isAbsolute(script) ? script : path.join(tools, script);
        return run(process.execPath, [file, ...args], { cwd: this.folder, env, timeout: 280_000 });
    }

    remove() {
        fs.rmSync(this.folder, { recursive: true, force: true });
    }
}

// The scripts on a page, in order: { name, text }, where the name is that of a first line like `// rollup.config.mjs`.
function snippets(page) {
    const text = fs.readFileSync(path.join(root, page), 'utf8');
    return [...text.matchAll(/^```js\n(.*?)^```$/gms)].map(([, script]) => ({
        name: /^\/\/ ([\w.-]+\.m?js)$/m.exec(script)?.[1],
        text: script,
    }));
}

module.exports = { App, snippets, tools };
