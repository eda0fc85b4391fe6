// Raw input made with SendInput, through the system's own queues, and what the capture delivers of it.
'use strict';
const assert = require('node:assert/strict');
const test = require('node:test');
const { zebbridge, collect } = require('../../script/support/zebbridge');
const desktop = require('../../script/support/desktop');
const { settled: allArrived, CLICKS, MOVES } = require('../../script/support/captures');
const { until, turn, short, wine, runScript, note } = require('../support/kit');

const { hardware } = zebbridge;
const { addon, mouse, MOUSE } = desktop;

const capture = hardware.capturePointer();
let recorder;
let unavailable = '';

// Sends markers that no check sends, after everything that was sent before, and waits for them.
const settled = () => allArrived(recorder);

test.before(async () => {
  try {
    await desktop.openWindow();
  } catch (error) {
    assert.match(error.message, /^the test window is in front: not within /);
    unavailable = 'no window comes to the front here: a locked screen, or a session without a user';
    return;
  }
  addon.setCursor(500, 400);
  recorder = desktop.record(capture);
});
test.after(() => desktop.closeWindow());

// Wine also moves the X server's pointer, which answers with its own motion.
const exactMotion = { skip: wine && 'only Windows reports motion as it was sent, once' };

// Runs with the window in front, the pointer in the middle of it, and nothing recorded.
function inputCheck(name, run, options = {}) {
  test(name, options, async (t) => {
    if (unavailable) return t.skip(unavailable);
    addon.setCursor(500, 400);
    await desktop.startCapturing(capture);
    await settled();
    recorder.events.length = 0;
    try {
      await run(t);
    } finally {
      capture.stopCapturing();
    }
  });
}

inputCheck(
  'motion arrives with the offsets that were sent, in order',
  async (t) => {
    for (const [index, [x, y]] of MOVES.entries()) {
      mouse(MOUSE.move, x, y);
      await until('the motion', () => recorder.motions().length > index);
    }
    await settled();
    assert.deepEqual(
      recorder.events.map(({ x, y }) => [x, y]),
      MOVES,
    );
    assert.deepEqual(recorder.events.at(-1).screen, addon.cursor());
    note(
      t,
      'screen points',
      recorder.events.map(({ screen }) => [screen.x, screen.y]),
    );
  },
  exactMotion,
);

inputCheck('buttons, each with its press and release', async () => {
  for (const flags of [MOUSE.leftDown, MOUSE.leftUp, MOUSE.middleDown, MOUSE.middleUp, MOUSE.rightDown, MOUSE.rightUp])
    mouse(flags);
  await settled();
  assert.deepEqual(recorder.events, CLICKS);
});

inputCheck(
  'motion with a transition in one report',
  async () => {
    mouse(MOUSE.move | MOUSE.middleUp, 3, -2);
    await settled();
    assert.deepEqual(
      recorder.events.map((event) => (Array.isArray(event) ? event : [event.x, event.y])),
      [
        [3, -2],
        [0, 1, 0],
      ],
    );
  },
  exactMotion,
);

inputCheck('the wheels and further buttons alone give nothing', async () => {
  for (const flags of [MOUSE.wheel, MOUSE.horizontalWheel]) for (const data of [120, -120]) mouse(flags, 0, 0, data);
  for (const button of [1, 2]) for (const flags of [MOUSE.xDown, MOUSE.xUp]) mouse(flags, 0, 0, button);
  await settled();
  assert.deepEqual(recorder.events, []);
});

inputCheck(
  'absolute positions, as the system reports them',
  async (t) => {
    mouse(MOUSE.move | 0x8000, 20000, 25000);
    await settled();
    note(t, 'an absolute position of 20000, 25000 arrives as', recorder.events);
    assert.ok(recorder.events.length <= 1);
  },
  exactMotion,
);

inputCheck('swapped buttons', async (t) => {
  const before = addon.buttonsSwapped();
  capture.stopCapturing();
  try {
    await desktop.swapButtons(!before);
    await desktop.startCapturing(capture);
    mouse(MOUSE.leftDown);
    mouse(MOUSE.leftUp);
    await settled();
  } finally {
    await desktop.swapButtons(before);
  }
  const [left, right] = [
    [
      [2, 0, 0],
      [1, 0, 0],
    ],
    [
      [0, 0, 2],
      [0, 0, 1],
    ],
  ];
  note(t, `sent the left button, ${before ? 'no longer ' : ''}swapped; arrived`, recorder.events);
  assert.deepEqual(recorder.events, before ? left : right);
});

// A separate process sends a steady stream of `rate` raw input reports a second and says how many it sent: single steps
// to the right, or, where these come back as other motion, releases of a button that nobody holds.
const [FLAGS, STEP] = wine ? [MOUSE.middleUp, 0] : [MOUSE.move, 1];
const received = () => recorder.events.length;
const arrived = () => (wine ? received() : recorder.sum().x);
const sending = (rate, seconds) =>
  runScript(
    `
  const addon = require(buildFile('node', 'desktop-control.node'));
  const rate = ${rate}, total = ${rate * seconds};
  let sent = 0;
  const begin = Date.now();
  const timer = setInterval(() => {
    const due = Math.min(total, Math.floor((Date.now() - begin) * rate / 1000));
    if (due > sent) addon.sendMouse(${FLAGS}, ${STEP}, 0, 0, due - sent);
    sent = due;
    if (sent < total) return;
    clearInterval(timer);
    console.log(JSON.stringify({ sent, milliseconds: Date.now() - begin }));
  }, 1);`,
    { milliseconds: (seconds + 60) * 1000 },
  );

const [RATE, SECONDS] = short ? [1000, 1] : [8000, 10];

inputCheck(`${RATE} events a second for ${SECONDS} s: nothing is lost`, async (t) => {
  let worst = 0;
  let last = Date.now();
  const beat = setInterval(() => {
    worst = Math.max(worst, Date.now() - last);
    last = Date.now();
  }, 10);
  const cpu = process.cpuUsage();
  const { status, output } = await sending(RATE, SECONDS);
  assert.equal(status, 0, output);
  await settled();
  clearInterval(beat);
  const { user, system } = process.cpuUsage(cpu);
  const { sent, milliseconds } = JSON.parse(output);
  note(t, 'sent', `${sent} in ${milliseconds} ms`);
  note(
    t,
    'delivered',
    `${received()} events; the loop's longest pause ${worst} ms; ${Math.round((user + system) / 1000)} ms of processor time`,
  );
  assert.equal(arrived(), sent);
});

inputCheck('a stop in the middle of a stream', async (t) => {
  const stream = sending(RATE, short ? 1 : 3);
  await until('the stream', () => received() > 100);
  capture.stopCapturing();
  const atStop = received();
  assert.equal(desktop.isListening(), false);
  assert.deepEqual(addon.rawInputRegistrations(), []);
  const { status, output } = await stream;
  assert.equal(status, 0, output);
  const { sent } = JSON.parse(output);
  await desktop.startCapturing(capture);
  await settled();
  const first = received();
  note(t, 'events', `${sent} sent, ${atStop} delivered at the stop, ${first} with those that had been read before`);
  assert.ok(first < sent, 'the stop came too late to show anything');
  mouse(MOUSE.middleUp);
  await settled();
  assert.equal(received(), first + 1);
});

inputCheck('a thousand starts and stops leave no handle', async (t) => {
  const rounds = short ? 20 : 1000;
  const cycle = () => {
    capture.stopCapturing();
    capture.startCapturing();
  };
  for (let round = 0; round < 20; ++round) cycle();
  const before = addon.handleCount();
  for (let round = 0; round < rounds; ++round) cycle();
  const after = addon.handleCount();
  note(t, `handles before and after ${rounds} rounds`, [before, after]);
  assert.ok(after <= before + 5);
});

inputCheck('a capture that waits needs no processor time', async (t) => {
  const milliseconds = short ? 1000 : 5000;
  const cpu = process.cpuUsage();
  await turn(milliseconds);
  const { user, system } = process.cpuUsage(cpu);
  note(t, `processor time in ${milliseconds} ms`, `${(user + system) / 1000} ms`);
  assert.ok((user + system) / 1000 < 100, 'a few ticks of the system clock, which are 16 ms');
});

test('capture objects that nobody keeps leave no memory', (t) => {
  const make = (count) => {
    for (let made = 0; made < count; ++made) hardware.capturePointer();
    collect();
  };
  const count = short ? 2000 : 50000;
  make(count);
  const { rss, heapUsed } = process.memoryUsage();
  for (let round = 0; round < 5; ++round) make(count);
  const after = process.memoryUsage();
  note(
    t,
    `memory after 5 rounds of ${count} objects`,
    `${(after.rss - rss) >> 10} KB more in the process, ${(after.heapUsed - heapUsed) >> 10} KB in the engine's heap`,
  );
  assert.ok(after.heapUsed - heapUsed < 4 << 20, 'in the long run, 17 bytes for each object');
  assert.ok(after.rss - rss < 64 << 20, 'the process also keeps what the engine has freed');
});

test('no button is left down', () => {
  for (const key of Object.values(desktop.KEY)) assert.equal(addon.keyDown(key), false);
});
