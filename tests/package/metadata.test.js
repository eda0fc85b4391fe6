'use strict';

// What surrounds the script and the binaries: the manifest as linters see it, the notices, the bill of materials, the
// pages in the tarball.

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, describe, test } = require('node:test');
const { App, tools } = require('./support/app.js');
const { deadLinks } = require('./support/links.js');
const { binaries, folder, manifest, root, sbom, tarball } = require('./support/package.js');
const { run } = require('./support/run.js');

const content = path.join(folder, 'content');
const read = (name) => fs.readFileSync(path.join(content, name), 'utf8');
const words = (text) => text.replace(/[^\w.,()"]+/g, ' ').trim();

describe('the linters of packages', () => {
  test('publint has nothing to say', () => {
    const { status, out, err } = run(process.execPath, [path.join(tools, 'publint/src/cli.js'), '--strict', content]);
    assert.strictEqual(status, 0, out + err);
    assert.match(out, /All good!/);
  });

  test('@arethetypeswrong/cli has nothing to say', () => {
    const { status, out, err } = run(process.execPath, [
      path.join(tools, '@arethetypeswrong/cli/dist/index.js'),
      tarball,
    ]);
    assert.strictEqual(status, 0, out + err);
    assert.match(out, /No problems found/);
  });
});

describe('the tarball', () => {
  let app;
  before(() => (app = new App()));
  after(() => app.remove());

  test('has nothing in it that only developers need', () => {
    const files = fs
      .readdirSync(app.installed, { recursive: true })
      .filter((name) => fs.statSync(path.join(app.installed, name)).isFile());
    const known =
      /^(index|pointer|updates)\.(d\.ts|d\.mts|js|mjs)$|^lib\/\w+\.js$|^prebuilds\/win32-x64\/zebbridge\.abi\d+\.node$|^docs\/api\/\w+\.md$|^docs\/(packaging|threads|failures)\.md$|^docs\/pointer-trail\.svg$|^examples\/[\w-]+\.js$|^(README|CHANGELOG|SECURITY)\.md$|^LICENSE$|^THIRD_PARTY_NOTICES$|^package\.json$/;
    assert.deepStrictEqual(
      files.filter((name) => !known.test(name)),
      [],
    );
    assert.ok(files.length > 30);
  });

  test('has no link that leads nowhere', () => {
    for (const page of fs.readdirSync(app.installed, { recursive: true }).filter((name) => name.endsWith('.md')))
      assert.deepStrictEqual(deadLinks(path.join(app.installed, page)), [], page);
  });

  test('has a manifest without what only the checkout can run', () => {
    assert.strictEqual(
      JSON.parse(fs.readFileSync(path.join(app.installed, 'package.json'), 'utf8')).scripts,
      undefined,
    );
  });
});

describe('the checkout itself', () => {
  const refusal =
    /zebbridge cannot be packed or installed from its checkout, because the package would have no binaries/;
  const copy = () => {
    const made = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-checkout-'));
    fs.mkdirSync(path.join(made, 'toolchain'));
    for (const name of ['package.json', 'index.js', 'toolchain/refuse-packing.js'])
      fs.copyFileSync(path.join(root, name), path.join(made, name));
    return made;
  };
  const refuses = (args, cwd) => {
    const { status, out, err } = run('npm', [...args, '--offline', '--no-audit', '--no-fund', '--foreground-scripts'], {
      cwd,
    });
    assert.notStrictEqual(status, 0, out);
    assert.match(out + err, refusal);
  };
  let checkout;
  before(() => (checkout = copy()));
  after(() => fs.rmSync(checkout, { recursive: true }));

  test('is not packed', () => refuses(['pack'], checkout));
  test('is not published', () => refuses(['publish', '--dry-run'], checkout));
  test('is not installed', () => {
    const app = fs.mkdtempSync(path.join(os.tmpdir(), 'zebbridge-app-'));
    fs.writeFileSync(path.join(app, 'package.json'), '{}');
    refuses(['install', checkout], app);
    fs.rmSync(app, { recursive: true });
  });
});

describe('what is of others', () => {
  test('the notices have the licences of V8, Node.js and libuv in their words', () => {
    const theirs = fs.readFileSync(path.join(path.dirname(path.dirname(process.execPath)), 'LICENSE'), 'utf8');
    const quoted = (from) =>
      words(theirs.slice(theirs.indexOf('"""', from) + 3, theirs.indexOf('"""', theirs.indexOf('"""', from) + 3)));
    const notices = words(read('THIRD_PARTY_NOTICES'));
    for (const mark of ['Node.js is licensed', '- libuv, located', '- V8, located']) {
      const licence = quoted(theirs.indexOf(mark));
      assert.ok(licence.length > 500, mark);
      assert.ok(notices.includes(licence), mark);
    }
    assert.ok(notices.includes('Apache License') && notices.includes('LLVM Exceptions to the Apache 2.0 License'));
  });

  test('the bill of materials and the notices name the same', () => {
    const { bomFormat, components, metadata } = JSON.parse(fs.readFileSync(sbom, 'utf8'));
    assert.strictEqual(bomFormat, 'CycloneDX');
    assert.strictEqual(metadata.component.version, manifest.version);
    const names = [...new Set(components.map(({ name }) => name))];
    const notices = read('THIRD_PARTY_NOTICES');
    for (const name of [...names, 'libc++', 'V8', 'Node.js', 'libuv']) {
      assert.ok(names.includes(name), name);
      assert.ok(notices.includes(name), name);
    }
    for (const { name, version, licenses } of components)
      assert.ok(/^\d+\.\d+/.test(version) && licenses.length === 1, name);
    const node = components.filter(({ name }) => name === 'Node.js').map(({ version }) => version);
    assert.deepStrictEqual(
      node,
      binaries.flatMap(({ version }) => version ?? []),
    );
  });
});
