'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { root } = require('./support/package.js');
const { run } = require('./support/run.js');

// Header sets like those of runtimes: the pinned Node.js's headers with another configuration.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zeb-'));
after(() => fs.rmSync(folder, { recursive: true }));

function headerSet(name, variables) {
  const headers = path.join(folder, name, 'include/node');
  fs.mkdirSync(headers, { recursive: true });
  for (const file of fs.readdirSync(process.env.ZEB_NODE_HEADERS)) {
    if (file === 'config.gypi') continue;
    fs.symlinkSync(path.join(process.env.ZEB_NODE_HEADERS, file), path.join(headers, file));
  }
  fs.writeFileSync(path.join(headers, 'config.gypi'), `# comment\n${JSON.stringify({ variables }, null, 2)}\n`);
  return headers;
}

function read(headers) {
  const { status, out, err } = run('cmake', [
    `-DZEB_RUNTIME_HEADERS=${headers}`,
    '-P',
    path.join(root, 'toolchain/cmake/runtime_headers.cmake'),
  ]);
  return { status, definitions: out.replace(/^-- /, '').trim().split(';'), text: err.replace(/\s+/g, ' ') };
}

test("module version and flags come from the header set's configuration", () => {
  const { status, definitions } = read(
    headerSet('desktop', {
      node_module_version: 123,
      v8_enable_pointer_compression: 1,
      v8_enable_pointer_compression_shared_cage: 1,
      v8_enable_31bit_smis_on_64bit_arch: 1,
      v8_enable_sandbox: 1,
      v8_enable_map_packing: 0,
      v8_enable_maglev: 1,
      v8_promise_internal_field_count: 1,
    }),
  );
  assert.strictEqual(status, 0);
  assert.deepStrictEqual(definitions.sort(), [
    'NODE_EMBEDDER_MODULE_VERSION=123',
    'V8_31BIT_SMIS_ON_64BIT_ARCH',
    'V8_COMPRESS_POINTERS',
    'V8_COMPRESS_POINTERS_IN_SHARED_CAGE',
    'V8_ENABLE_SANDBOX',
    'V8_PROMISE_INTERNAL_FIELD_COUNT=1',
  ]);
});

for (const [variable, macro, value = 1] of [
  ['v8_enable_direct_local', 'V8_ENABLE_DIRECT_LOCAL'],
  ['v8_enable_map_packing', 'V8_MAP_PACKING'],
  ['v8_array_buffer_internal_field_count', 'V8_ARRAY_BUFFER_INTERNAL_FIELD_COUNT', 2],
  ['v8_promise_internal_field_count', 'V8_PROMISE_INTERNAL_FIELD_COUNT', 2],
]) {
  test(`a header set with a flag that the module does not know is refused: ${variable}`, () => {
    const { status, text } = read(headerSet(variable, { node_module_version: 123, [variable]: value }));
    assert.notStrictEqual(status, 0);
    assert.match(
      text,
      new RegExp(`switches on ${variable}, and the headers ask for ${macro}: zebbridge does not know`),
    );
  });
}

test('a folder that is not a header set, and one without a module version, are refused', () => {
  assert.match(read(folder).text, /is not a header set/);
  assert.match(read(headerSet('versionless', {})).text, /names no node_module_version/);
});

// Configures the product for the header set and returns the command that links it.
function linkCommand(name, headers) {
  const build = path.join(folder, name, 'build');
  const configured = run(
    'cmake',
    [
      '--preset',
      'windows-release',
      '-S',
      root,
      '-B',
      build,
      '--log-level=ERROR',
      `-DZEB_RUNTIME_HEADERS=${headers}`,
      '-DZEB_FLAVOURS=desktop;node',
    ],
    { cwd: root },
  );
  if (configured.status !== 0) return configured.err.replace(/\s+/g, ' ');
  return run('ninja', ['-C', build, '-t', 'commands', 'zebbridge_desktop']).out.trim().split('\n').at(-1);
}

test("the runtime's own import library is taken, and needed", () => {
  const headers = headerSet('library', { node_module_version: 123 });
  assert.match(linkCommand('library', headers), /no import library in its neighbourhood/);
  fs.mkdirSync(path.join(folder, 'library/x64'));
  fs.copyFileSync(process.env.ZEB_NODE_LIB, path.join(folder, 'library/x64/node.lib'));
  const command = linkCommand('library', headers);
  assert.match(command, /[/ ]desktop\/node\.lib/);
  assert.ok(!command.includes(process.env.ZEB_NODE_LIB), command);
  const made = run('ninja', ['-C', path.join(folder, 'library/build'), '--quiet', 'node_library_desktop']);
  assert.strictEqual(made.status, 0, made.out);
  assert.ok(
    fs.readFileSync(path.join(folder, 'library/build/desktop/node.lib')).includes('node_module_register\0node.exe\0'),
  );
});
