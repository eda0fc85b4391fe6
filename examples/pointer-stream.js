// Measures drags: how far the mouse goes while the left button is held, also outside of every window. The middle button
// ends.
//
//   node pointer-stream.js
'use strict';
const { ButtonTransition } = require('zebbridge');
const { PointerStream } = require('zebbridge/pointer');

const pointer = new PointerStream();
let drag = null;

pointer.on('motion', ({ offset }) => {
  if (drag) drag = { x: drag.x + offset.x, y: drag.y + offset.y };
});

pointer.on('buttons', ({ left, middle }) => {
  if (left === ButtonTransition.Pressed) drag = { x: 0, y: 0 };
  if (left === ButtonTransition.Released && drag) {
    console.log(`dragged by ${drag.x}, ${drag.y}`);
    drag = null;
  }
  if (middle === ButtonTransition.Pressed) pointer.stop(); // nothing keeps the process then
});

pointer.start();
