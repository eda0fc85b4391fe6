'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { describe, test } = require('node:test');
const { binaries, interfaces, root } = require('./support/package.js');

const source = fs.readFileSync(path.join(root, 'index.js'), 'utf8');

// Runs index.js as if in another process. Gives its exports and what it asked for.
function load({ platform = 'win32', arch = 'x64', modules = '123' }) {
    const required = [];
    const module = { exports: {} };
    const require = (name) => {
        required.push(name);
        return { loaded: name };
    };
    new Function('module', 'require', 'process', source)(module, require, { platform, arch, versions: { modules } });
    return { exports: module.exports, required };
}

describe('where there is a binary', () => {
    for (const { abi, image } of binaries) {
        test(`module version ${abi} gets its own`, () => {
            const { exports, required } = load({ modules: abi });
            assert.deepStrictEqual(required, [`./prebuilds/win32-x64/zebbridge.abi${abi}.node`]);
            assert.deepStrictEqual(exports, { loaded: required[0] });
            assert.strictEqual(path.basename(image), path.basename(required[0]));
        });
    }
});

describe('where there is none', () => {
    const places = [
        { platform: 'linux' },
        { platform: 'darwin', arch: 'arm64' },
        { arch: 'arm64' },
        { arch: 'ia32' },
        { modules: '115' },
    ];
    for (const place of places) {
        test(JSON.stringify(place), () => {
            const { platform, arch, modules } = { platform: 'win32', arch: 'x64', modules: '123', ...place };
            const { exports, required } = load(place);
            const refusal = {
                name: 'Error',
                code: 'ERR_ZEBBRIDGE_UNAVAILABLE',
                message:
                    `zebbridge has no binary for ${platform}-${arch} with module version ${modules}; it runs on ` +
                    'win32-x64 in desktop runtimes with module version 123, Node.js 22, Node.js 24, Node.js 26.',
            };
            assert.deepStrictEqual(required, []);
            assert.deepStrictEqual(Object.keys(exports), [...Object.keys(interfaces), 'shutdown']);
            for (const [component, methods] of Object.entries(interfaces)) {
                assert.deepStrictEqual(Object.keys(exports[component]), methods);
                for (const method of methods) {
                    assert.strictEqual(exports[component][method].name, method);
                    assert.throws(() => exports[component][method](0), refusal);
                }
            }
            assert.strictEqual(exports.shutdown.name, 'shutdown');
            assert.throws(() => exports.shutdown(), refusal);
        });
    }
});
