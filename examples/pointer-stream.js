// Measures drags: how far the mouse moves while the left button is held, even outside all windows. The middle button
// ends the example.
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
  if (middle === ButtonTransition.Pressed) pointer.stop(); // then nothing keeps the process alive
});

pointer.start();
