'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { root } = require('./support/package.js');
const { run } = require('./support/run.js');

// The Windows executables of these releases do not start in Wine 8. Their Linux ones do: they run the portable layers,
// built with the same headers, through the same scripts as the release that all other lanes use.
const SCRIPTS = ['portable', 'updater-native'];

for (const major of ['24', '26']) {
    describe(`in Node.js ${major}`, () => {
        const node = path.join(process.env[`ZEB_NODE${major}`], 'bin/node');
        let build;

        before(() => {
            build = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-release-'));
            const made = path.resolve(process.env.ZEB_BUILD, '../linux-package', `node${major}`);
            fs.symlinkSync(made, path.join(build, 'node')); // where scripts look
        });
        after(() => fs.rmSync(build, { recursive: true }));

        test('it is that release', () => {
            assert.match(run(node, ['--version']).out, new RegExp(`^v${major}\\.`));
        });

        for (const script of SCRIPTS) {
            test(`${script} passes`, () => {
                const file = path.join(root, `tests/script/${script}.test.js`);
                const env = { ...process.env, ZEB_BUILD: build, NODE_TEST_CONTEXT: undefined };
                const { status, out } = run(node, ['--expose-gc', '--test-reporter=tap', file], { env });
                assert.strictEqual(status, 0, out);
                assert.match(out, /^# pass [1-9]\d*\n# fail 0\n# cancelled 0$/m);
            });
        }
    });
}
