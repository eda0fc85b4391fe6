// A debugger can find the array that brings pointer records to script. Whatever script then does with it, the module
// touches no memory but its own, and later pointer records arrive.
'use strict';
const test = require('node:test');
const { ends } = require('./support/hosts');
const { byTurns } = require('./support/length');

// What is done to the array.
const actions = {
  'detached and freed': 'batch.buffer.transfer(0)',
  'given to somebody else': 'globalThis.taken = structuredClone(batch, { transfer: [batch.buffer] })',
  'filled with great numbers': 'batch.fill(0x7fffffff)',
  'filled with negative numbers': 'batch.fill(-1)',
  'filled with zeroes': 'batch.fill(0)',
};

// When it is done; `spoil` does it. What waits outside must not go on inside these calls of `turnLoop`.
const times = {
  'inside a callback': () => {
    capturing(
      () => {
        if (++events % 100 === 75) spoil();
      },
      () => {
        if (++events % 100 === 50) spoil();
      },
    );
    queue(3000, 0, 3);
  },
  'between two drains': () => {
    capturing(() => ++events);
    queue(100);
    turnLoop();
    spoil();
    queue(1500);
    turnLoop();
    spoil();
    queue(10);
  },
  'inside a callback that runs the loop': () => {
    let depth = 0;
    capturing(() => {
      if (++events % 250 !== 10 || depth > 3) return;
      ++depth;
      queue(200);
      spoil();
      turnLoop();
      spoil();
      --depth;
    });
    queue(500);
  },
  'inside a callback where another drain continues': () => {
    capturing(() => {
      if (++events !== 10) return;
      spoil();
      queue(1);
      turnLoop();
      rest = events - 10;
    });
    queue(3000);
  },
  'inside a callback that then stops': () => {
    capturing(() => {
      if (++events !== 10) return;
      spoil();
      capture.stopCapturing();
      capture.startCapturing();
    });
    queue(2000);
  },
};

for (const [number, [when, time]] of Object.entries(times).entries()) {
  test(`it is changed ${when}`, () =>
    ends(`async () => {
      Object.assign(globalThis, { require, file: environments.harness });
      (0, eval)(environments.LOAD);
      const session = new (require('node:inspector').Session)();
      session.connect();
      const kept = []; // captures, because the end of any of them would end the running one
      let depth = 0;
      globalThis.turnLoop = () => {
        ++depth;
        harness.turnLoop();
        --depth;
      };
      const post = (method, parameters) => {
        let answer;
        session.post(method, parameters, (error, result) => {
          assert.equal(error, null);
          assert.equal(result.exceptionDetails, undefined);
          answer = result;
        });
        return answer;
      };
      for (const [what, action] of ${JSON.stringify(byTurns(Object.entries(actions), number))}) {
        let found = 0;
        globalThis.spoil = () => {
          const prototype = post('Runtime.evaluate', { expression: 'Int32Array.prototype' }).result;
          const { objects } = post('Runtime.queryObjects', {
            prototypeObjectId: prototype.objectId,
            objectGroup: 'found',
          });
          found += post('Runtime.callFunctionOn', {
            objectId: objects.objectId,
            returnByValue: true,
            functionDeclaration: \`function () {
              const batches = this.filter(({ length }) => length > 7000 && length < 8000);
              for (const batch of batches) try { \${action} } catch {}
              return batches.length;
            }\`,
          }).result.value;
          gc();
        };
        globalThis.events = 0;
        globalThis.rest = Infinity; // how many of some 3000 records another drain delivers, if the test looks
        (${time})();
        await until(\`events of an array that is \${what}\`, () => events > 0 && depth === 0);
        for (let round = 0; round < 5; ++round) await turn(0);
        assert.ok(found > 0, \`the array was found before it was \${what}\`);
        assert.ok(rest >= 3000 - 1024, \`at most one batch was lost of an array that was \${what}\`);
        capture.stopCapturing();
        let later = 0;
        globalThis.other = hardware.capturePointer();
        other.setMotionEventCallback(() => ++later);
        other.startCapturing();
        harness.burst(2000, 0, 0);
        await until(\`records after an array that was \${what}\`, () => later === 2000);
        other.stopCapturing();
        kept.push(capture, other);
        post('Runtime.releaseObjectGroup', { objectGroup: 'found' });
        delete globalThis.taken;
      }
    }`));
}
