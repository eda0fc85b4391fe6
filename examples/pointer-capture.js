// Looks around as in a game: raw motion turns the view, without stopping at the screen's edge and even while another
// window has the focus. The left button shoots; the middle button ends the example.
//
//   node pointer-capture.js [degrees per count]
'use strict';
const { ButtonTransition, hardware } = require('zebbridge');

const { Pressed } = ButtonTransition;
const sensitivity = Number(process.argv[2] ?? 0.1);
const view = { yaw: 0, pitch: 0 };
let shots = 0;

// Keep a reference to the object while it captures, because its garbage collection ends the capture.
const capture = hardware.capturePointer();

capture.setMotionEventCallback(({ offset }) => {
  view.yaw += offset.x * sensitivity;
  view.pitch = Math.max(-90, Math.min(90, view.pitch - offset.y * sensitivity));
});

capture.setButtonsEventCallback(({ left, middle }) => {
  if (left === Pressed) console.log(`shot ${++shots} at ${view.yaw.toFixed(1)}, ${view.pitch.toFixed(1)}`);
  if (middle === Pressed) capture.stopCapturing(); // then nothing keeps the process alive
});

capture.startCapturing();
