// Shows which buttons are held at this moment, without a capture. Ends when left and right are held together.
//
//   node button-state.js
'use strict';
const { hardware } = require('zebbridge');

const BUTTONS = { left: 0, middle: 1, right: 2 };

let shown = '';
const timer = setInterval(() => {
  const held = Object.keys(BUTTONS).filter((name) => hardware.getButtonState(BUTTONS[name]));
  const text = held.join(' ') || 'none';
  if (text !== shown) console.log(text);
  shown = text;
  if (held.includes('left') && held.includes('right')) clearInterval(timer);
}, 10);
