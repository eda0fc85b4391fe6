// The engine may end script whenever native code is about to enter it: by a time limit, by a debugger, or because the
// environment is told to stop. The harness chooses the entry. Each case has its own process, because a termination would
// hit whatever else the loop calls.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');

test('one that ends script which turns the loop loses no event but the one whose callback it hits', () =>
  ends(async () => {
    const page = load();
    page.run(() => {
      globalThis.events = 0;
      capturing(() => ++events);
      globalThis.endAt = (entry) => {
        const { threads } = harness.counts();
        queue(1);
        updating(false);
        spin('the end of the update', () => harness.counts().threads === threads);
        return harness.isTerminated(() => {
          harness.terminateAt(entry);
          harness.turnLoop();
          for (const deadline = Date.now() + 5000; !harness.terminateAt(-1) && Date.now() < deadline; );
        });
      };
    });
    let entry = 0;
    while (page.run((number) => endAt(number), entry)) {
      ++entry;
      for (let turns = 0; turns < 20 && page.run((count) => events < count || reports.length < count, entry); ++turns) {
        await turn(1);
      }
    }
    // Of both events, the engine is asked twice before it delivers.
    assert.ok(entry >= 6, `${entry} entries`);
    await until('every pointer record', () => page.run((count) => events === count, entry + 1));
    assert.equal(
      page.run('reports.length'),
      entry,
      'of the reports, one has been heard by a handler that ended at once',
    );
    page.run(() => capture.stopCapturing());
  }));

for (const entry of [0, 1]) {
  test(`one without script below it loses no log record of a drain, at entry ${entry}`, () =>
    ends(`async () => {
      const page = load();
      page.run(() => {
        globalThis.logs = [];
        (() =>
          capturing(() => {
            capture = null;
            gc(); gc(); // the drain is the last to refer to the capture, and releases it
            diagnostics.setLogHandler((text) => logs.push(text));
            harness.terminateAt(${entry});
          }))();
        queue(1);
      });
      await until('the log record', () => page.run(() => logs.length > 0));
      assert.ok(!page.run(() => harness.terminateAt(-1)), 'it has come');
    }`));
}

// As long as it hits only a question.
for (const entry of [0, 1, 2]) {
  test(`one without script below it keeps the order of two captures, at entry ${entry}`, () =>
    ends(`async () => {
      const page = load();
      page.run(() => {
        globalThis.order = [];
        const made = [0, 1].map(() => hardware.capturePointer());
        made.forEach((each, number) => each.setMotionEventCallback(() => order.push(number)));
        made[0].startCapturing();
        queue(2);
        made[0].stopCapturing();
        made[1].startCapturing();
        queue(2);
        globalThis.captures = made;
        harness.terminateInLoop(${entry});
      });
      await until('all events', () => page.run(() => order.length === 4));
      assert.equal(page.run(() => order.join()), '0,0,1,1');
      assert.ok(!page.run(() => harness.terminateAt(-1)), 'it has come');
      page.run(() => captures[1].stopCapturing());
    }`));
}

// The engine is asked twice, and then delivers. What is compiled for that enters it too.
for (const entry of [0, 1, 2, 3, 4]) {
  test(`one without script below it loses no pointer record, at entry ${entry}`, () =>
    ends(`async () => {
      const page = load();
      page.run(() => {
        globalThis.events = 0;
        capturing(() => ++events);
        queue(100);
        harness.terminateInLoop(${entry});
      });
      await until('every pointer record', () => page.run(() => events === 100));
      assert.ok(!page.run(() => harness.terminateAt(-1)), 'it has come');
      page.run(() => capture.stopCapturing());
    }`));

  test(`with a stop, the environment gets nothing any more and keeps no process, at entry ${entry}`, () =>
    ends(`async () => {
      const [host, page] = [load(), load()];
      page.run(() => {
        capturing(() => say('called back'));
        queue(100);
        harness.terminateInLoop(${entry}, true);
      });
      for (let turns = 0; turns < 20; ++turns) await turn(1);
      assert.ok(!host.run(() => harness.terminateAt(-1)), 'it has come');
    }`));
}
