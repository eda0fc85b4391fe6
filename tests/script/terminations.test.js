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
