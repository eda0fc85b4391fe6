// The script of `./zeb demo`. It runs in the Windows Node.js inside a virtual desktop, where the X server's pointer
// really moves and clicks. It captures the pointer with the module, prints each event, and draws the captured path.
'use strict';
const path = require('node:path');
const { drawTrail } = require('./trail');
const { ButtonTransition, MouseButton } = require('../../lib/constants');
const desktop = require('../../tests/script/support/desktop');
const { until } = require('../../tests/script/support/until');
const x11 = require('../../tests/script/support/x11');

const zebbridge = require(path.join(process.env.ZEB_BUILD, 'node', 'zebbridge.node'));
const BUTTONS = ['left', 'middle', 'right'];
const TRANSITIONS = { [ButtonTransition.Released]: 'released', [ButtonTransition.Pressed]: 'pressed' };

const trail = [];
const transitions = [];
const travelled = { x: 0, y: 0 };
const start = desktop.addon.cursor();

// Computed from the offsets, which are exact. The cursor may have moved on before a raw input report is read.
const position = () => ({ x: start.x + travelled.x, y: start.y + travelled.y });

zebbridge.diagnostics.setLogHandler((text, level) => console.log(`log ${level}: ${text}`));

const capture = zebbridge.hardware.capturePointer();

capture.setMotionEventCallback(({ offset, screenPoint }) => {
  travelled.x += offset.x;
  travelled.y += offset.y;
  trail.push(position());
  console.log(
    `motion  ${String(offset.x).padStart(4)} ${String(offset.y).padStart(4)}   at ${screenPoint.x},${screenPoint.y}`,
  );
});

capture.setButtonsEventCallback((event) => {
  for (const button of BUTTONS.filter((name) => event[name] !== ButtonTransition.None)) {
    transitions.push({ ...position(), button, transition: TRANSITIONS[event[button]] });
    console.log(`button  ${button} ${TRANSITIONS[event[button]]}`);
  }
});

// Moves the pointer along a rose curve around the middle of the screen and clicks once with each button. Returns the
// offset from start to end.
async function movePointer() {
  const steps = 72;
  const at = (step) => {
    const angle = (step / steps) * 2 * Math.PI;
    const radius = 260 * Math.cos(2 * angle);
    return [Math.round(640 + 1.6 * radius * Math.cos(angle)), Math.round(400 + radius * Math.sin(angle))];
  };
  const from = await x11.position();
  await x11.moveTo(...at(0));
  for (let step = 1; step <= steps; step++) {
    await x11.moveTo(...at(step));
    if (step % 24 === 12) await x11.click(1 + (step - 12) / 24);
  }
  const [x, y] = at(steps);
  return { x: x - from.x, y: y - from.y };
}

(async () => {
  await desktop.startCapturing(capture); // also makes Wine wake the input thread, as Windows does by itself
  const way = await movePointer();
  await until('the last event', () => transitions.length === 6 && travelled.x === way.x && travelled.y === way.y);
  console.log(`left button is ${zebbridge.hardware.getButtonState(MouseButton.Left) ? 'down' : 'up'}`);
  capture.stopCapturing();

  const picture = drawTrail(process.env.ZEB_DEMO_OUTPUT, trail, transitions);
  console.log(
    `${trail.length} motion events, ${transitions.length} button transitions; picture: ${path.basename(picture)}`,
  );
  zebbridge.shutdown();
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
  zebbridge.shutdown();
});
