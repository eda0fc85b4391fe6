// Looks around as a game does: raw motion turns the view, as far as the mouse goes and not only to the screen's edge,
// and also while another window is in front. The left button shoots, the middle one ends.
//
//   node pointer-capture.js [degrees per count]
'use strict';
const { ButtonTransition, hardware } = require('zebbridge');

const { Pressed } = ButtonTransition;
const sensitivity = Number(process.argv[2] ?? 0.1);
const view = { yaw: 0, pitch: 0 };
let shots = 0;

// Keep the object as long as it captures: when it is collected, the capture ends.
const capture = hardware.capturePointer();

capture.setMotionEventCallback(({ offset }) => {
  view.yaw += offset.x * sensitivity;
  view.pitch = Math.max(-90, Math.min(90, view.pitch - offset.y * sensitivity));
});

capture.setButtonsEventCallback(({ left, middle }) => {
  if (left === Pressed) console.log(`shot ${++shots} at ${view.yaw.toFixed(1)}, ${view.pitch.toFixed(1)}`);
  if (middle === Pressed) capture.stopCapturing(); // nothing keeps the process then
});

capture.startCapturing();
