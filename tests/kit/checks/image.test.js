// The binary as an image: where its imports come from, and which of the system's guards protect it.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { file, buildFile } = require('../../script/support/zebbridge');
const {
  programs,
  wine,
  onlyWindows,
  temporaryFolder,
  run,
  runScript,
  until,
  note,
  hex,
  remove,
} = require('../support/kit');

const addon = require(buildFile('node', 'desktop-control.node'));

// The folder of the module gets a copy of the toolchain's own DLL under each name that the binary imports. If the
// loader took one of them, its list would name it, or it would refuse the module because the DLL lacks the imported
// functions. Wine does not know the flag that keeps the loader out of the folder; the one DLL that the module loads
// itself is tested there too.
const PLANTED = wine
  ? ['wevtapi.dll']
  : [
      'advapi32.dll',
      'api-ms-win-core-winrt-string-l1-1-0.dll',
      'combase.dll',
      'kernel32.dll',
      'node.exe',
      'node.dll',
      'libnode.dll',
      'ole32.dll',
      'oleaut32.dll',
      'ucrtbase.dll',
      'user32.dll',
      'version.dll',
      'wevtapi.dll',
    ];

test('DLLs that lie beside the module are not loaded', async (t) => {
  const folder = temporaryFolder();
  t.after(() => remove(folder));
  const module = path.join(folder, 'zebbridge.node');
  fs.copyFileSync(file, module);
  for (const name of PLANTED) fs.copyFileSync(path.join(programs, 'probe.dll'), path.join(folder, name));
  const { status, output } = await runScript(
    `
    const zebbridge = require(${JSON.stringify(module)});
    try { zebbridge.msix_auto_updater.getUpdateErrors('<QueryList/>'); } catch {}
    const capture = zebbridge.hardware.capturePointer();
    capture.startCapturing();
    capture.stopCapturing();
    console.log(JSON.stringify(process.report.getReport().sharedObjects));`,
    { prelude: '' },
  );
  assert.equal(status, 0, output);
  // By the last part of the path, which is this check's own, because the folders above may be written in two ways.
  const loaded = JSON.parse(output).filter((name) => path.basename(path.dirname(name)) === path.basename(folder));
  assert.deepEqual(
    loaded.map((name) => path.basename(name)),
    ['zebbridge.node'],
  );
  note(t, 'wevtapi.dll comes from', JSON.parse(output).find((name) => /wevtapi/i.test(name)) ?? 'nowhere');
});

const POLICIES = { 'control-flow guard': 7, 'shadow stacks (CET)': 15 };
const GUARD = { skip: onlyWindows('control-flow guard and shadow stacks') };

function policiesOf(processId) {
  return Object.fromEntries(
    Object.entries(POLICIES).map(([name, policy]) => {
      try {
        return [name, hex(addon.mitigation(processId, policy))];
      } catch (error) {
        return [name, error.message];
      }
    }),
  );
}

test('the guards of this runtime, as the system enforces them', GUARD, (t) => {
  const policies = policiesOf(process.pid);
  note(t, 'this process', policies);
  assert.match(policies['control-flow guard'], /^0x/);
});

// Control-flow guard does not protect the runtime. It does protect one of the toolchain's own programs, which runs its
// checks under it.
test("the toolchain's program runs under control-flow guard", GUARD, async (t) => {
  await run(path.join(programs, 'toolchain-modules.exe'), ['--gtest_repeat=-1', '--gtest_filter=Program.*'], {
    folder: programs,
    async started(child) {
      await until('the process', () => child.pid);
      const policies = policiesOf(child.pid);
      child.kill();
      note(t, 'that process', policies);
      assert.equal(Number(policies['control-flow guard']) & 1, 1);
    },
  });
});
