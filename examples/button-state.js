// Prints which mouse buttons are held, without a capture. Ends when left and right are held together.
//
//   node button-state.js
'use strict';
const { hardware, MouseButton } = require('zebbridge');

let shown = '';
const timer = setInterval(() => {
  const held = Object.keys(MouseButton).filter((name) => hardware.getButtonState(MouseButton[name]));
  const text = held.join(' ').toLowerCase() || 'none';
  if (text !== shown) console.log(text);
  shown = text;
  if (held.includes('Left') && held.includes('Right')) clearInterval(timer);
}, 10);
