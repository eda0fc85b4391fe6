'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { TERMINATED, startScript, runScript, debugScript, temporaryFolder } = require('./support/processes');
const { until } = require('./support/until');
const desktop = require('./support/desktop');
const x11 = require('./support/x11');

const { skip } = desktop;

const ACCESS_VIOLATION = 0xc0000005;
const STACK_OVERFLOW = 0xc00000fd;
const BREAKPOINT = 0x80000003;

// These print something if script survives a crash or its handlers see it.
const WITNESSES = `
  process.on('exit', () => console.log('exit'));
  process.on('uncaughtException', () => console.log('uncaught'));
`;
const attempt = (call) => `${WITNESSES}
  try { ${call}; console.log('returned'); } catch { console.log('caught'); }`;

for (const args of ['', `1, 'two', {}, () => {}`]) {
  test(`emitAccessViolation(${args})`, async () => {
    const { status, stdout, stderr } = await runScript(attempt(`zebbridge.crash_emitter.emitAccessViolation(${args})`));
    assert.deepEqual({ status, stdout, stderr }, { status: ACCESS_VIOLATION, stdout: '', stderr: '' });
  });

  test(`emitAccessViolation(${args}) writes to address 0`, { skip }, async () => {
    const { exitCode, exceptions, output } = await debugScript(
      attempt(`zebbridge.crash_emitter.emitAccessViolation(${args})`),
    );
    assert.equal(exitCode, ACCESS_VIOLATION);
    assert.equal(output, '');
    const { code, parameters } = exceptions.at(-1);
    assert.deepEqual({ code, parameters }, { code: ACCESS_VIOLATION, parameters: [1, 0] });
  });

  // Ended at the fault, because Wine does not get the process past it.
  test(`emitStackOverflow(${args})`, { skip }, async () => {
    const { exceptions, output } = await debugScript(attempt(`zebbridge.crash_emitter.emitStackOverflow(${args})`), {
      lastException: STACK_OVERFLOW,
    });
    const { code, module } = exceptions.at(-1);
    assert.equal(code, STACK_OVERFLOW);
    assert.match(module, /\\zebbridge\.node$/);
    assert.equal(output, '');
  });
}

test('a crash inside a callback is a crash', async () => {
  const { status, stdout } = await runScript(
    attempt(`
    zebbridge.diagnostics.setLogHandler(() => zebbridge.crash_emitter.emitAccessViolation());
    zebbridge.hardware.capturePointer()`),
  );
  assert.deepEqual({ status, stdout }, { status: ACCESS_VIOLATION, stdout: '' });
});

// Ended at the fault, as above.
const OVERFLOW = 'zebbridge.crash_emitter.emitStackOverflow()';
for (const [place, script] of Object.entries({
  'inside a callback': `zebbridge.diagnostics.setLogHandler(() => ${OVERFLOW}); zebbridge.hardware.capturePointer()`,
  'in a worker': `const { Worker, isMainThread } = require('node:worker_threads');
    if (isMainThread) new Worker(__filename); else ${OVERFLOW}; return`,
})) {
  test(`emitStackOverflow ${place} is a crash`, { skip }, async () => {
    const { exceptions, output } = await debugScript(attempt(script), { lastException: STACK_OVERFLOW });
    const { code, module } = exceptions.at(-1);
    assert.equal(code, STACK_OVERFLOW);
    assert.match(module, /\\zebbridge\.node$/);
    assert.equal(output, '');
  });
}

const PROBE = `const probe = require(buildFile('node', 'binding-probe.node'));`;
const report = (expression, callee, file, line, message) =>
  `\nASSERTION FAILURE: ${expression}\n\nCallee:(${callee}) in module:()\nsrc_native/${file}(${line}):${message}\n`;

const EMPTY_POINTER = report(
  'm_instance',
  'common::ComPtr<struct IRefCounted>::operator ->',
  'common/include/common/com/comptr',
  180,
  'ComPtr<struct IRefCounted> is not dereferencible',
);

const boxOf = (processId) =>
  until(
    'the error box',
    () =>
      desktop.windows(
        ({ process: id, className, visible }) => id === processId && className === '#32770' && visible,
      )[0],
  );

// Checks a process's error box, then clicks its button.
async function dismissBox(processId, text) {
  const box = await boxOf(processId);
  assert.equal(desktop.textOf(box.window), 'FAILURE');
  assert.equal(box.owner, 0);
  const children = desktop.childrenOf(box.window).filter((child) => child.visible);
  const buttons = children.filter(({ className }) => className === 'Button');
  assert.deepEqual(
    buttons.map((button) => button.text),
    ['OK'],
  );
  const statics = children.filter(({ className }) => className === 'Static');
  const isIcon = ({ style }) => (style & 0x1f) === 3; // SS_ICON
  assert.equal(statics.filter(isIcon).length, 1);
  assert.deepEqual(
    statics.filter((child) => !isIcon(child)).map((child) => child.text),
    [text],
  );
  desktop.click(buttons[0].window);
  await until('the box is gone', () => !desktop.windows((window) => window.window === box.window).length);
}

test('an assertion failure shows its report in an error box and ends the process', { skip }, async () => {
  const child = startScript(`${PROBE}${attempt('probe.control.raiseAssertion()')}`);
  await boxOf(child.pid);
  await x11.waitForWindow('^FAILURE$', 30000); // the X server shows it too, not only the system
  await dismissBox(child.pid, EMPTY_POINTER);
  const { status, stdout } = await child.ended;
  assert.deepEqual({ status, stdout }, { status: TERMINATED, stdout: '' });
});

test('the process stands still behind the box', { skip }, async () => {
  const child = startScript(`${PROBE}
    setInterval(() => console.log('a timer'), 1);
    setTimeout(() => { console.log('before'); probe.control.raiseAssertion(); console.log('after'); }, 100);`);
  await boxOf(child.pid);
  const before = child.output();
  await dismissBox(child.pid, EMPTY_POINTER);
  const { status, stdout } = await child.ended;
  assert.equal(stdout, before);
  assert.match(stdout, /before\n$/);
  assert.equal(status, TERMINATED);
});

test('a method that throws something other than an exception', { skip }, async () => {
  const child = startScript(`${PROBE}${attempt('probe.probe.throwNumber(1)')}`);
  await dismissBox(
    child.pid,
    report(
      'RUNTIME_FAILURE',
      'common::js::getFunctionTemplate::<lambda_1>::operator ()',
      'common/include/common/v8binding/v8binding',
      197,
      'Unexpected exception type',
    ),
  );
  const { status, stdout } = await child.ended;
  assert.deepEqual({ status, stdout }, { status: TERMINATED, stdout: '' });
});

test('a component that cannot be made stops the loading', { skip }, async () => {
  const child = startScript(
    `${WITNESSES}
    try { ${PROBE} console.log('loaded'); } catch { console.log('caught'); }`,
    { environment: { ZEB_PROBE_EMPTY_FACTORY: '1' } },
  );
  await dismissBox(
    child.pid,
    report(
      'm_instance',
      'common::ComPtr<struct zeb::Component>::operator ->',
      'common/include/common/com/comptr',
      180,
      'ComPtr<struct zeb::Component> is not dereferencible',
    ),
  );
  const { status, stdout } = await child.ended;
  assert.deepEqual({ status, stdout }, { status: TERMINATED, stdout: '' });
});

test('under a debugger the report goes there first, and the process stops in it', { skip }, async () => {
  const file = path.join(temporaryFolder(), 'process');
  const ended = debugScript(`${PROBE}
    require('node:fs').writeFileSync(${JSON.stringify(file)}, String(process.pid));
    probe.control.raiseAssertion();`);
  const processId = Number(await until('the process', () => fs.existsSync(file) && fs.readFileSync(file, 'utf8')));
  await dismissBox(processId, EMPTY_POINTER);
  const { exitCode, debugStrings, exceptions } = await ended;
  assert.deepEqual(debugStrings, [EMPTY_POINTER]);
  assert.equal(exceptions.filter(({ code }) => code === BREAKPOINT).length, 2); // the loader's own, then ours
  assert.equal(exitCode, TERMINATED);
});

test('an assertion failure on a string that the engine does not make', { skip }, async () => {
  const child = startScript(`${PROBE}${attempt(`probe.control.makeRefused('%1 {0}')`)}`);
  await dismissBox(
    child.pid,
    report(
      'maybeJsStr.ToLocal(&jsStr) && !jsStr.IsEmpty()',
      'common::js::makeStr',
      'common/include/common/v8binding/v8utils',
      28,
      'Fail to allocate js string: (%1 {0})',
    ),
  );
  const { status } = await child.ended;
  assert.equal(status, TERMINATED);
});
