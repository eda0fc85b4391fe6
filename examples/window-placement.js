// Restores a window's saved placement, as an application does at its start. Takes the native window handle as a number.
// If a runtime gives the handle as a buffer, the number is `Number(buffer.readBigUInt64LE())`.
//
//   node window-placement.js HANDLE [minimised | maximised]
'use strict';
const { ShowCommand, windows } = require('zebbridge');

const SHOW = {
  normal: ShowCommand.ShowNormal,
  minimised: ShowCommand.ShowMinimized,
  maximised: ShowCommand.ShowMaximized,
};

const saved = { left: 120, top: 90, right: 920, bottom: 690, state: process.argv[3] ?? 'normal' };
try {
  // The rectangle is the normal position, to which the window returns from any other state.
  windows.setWindowPlacement(
    Number(process.argv[2]),
    saved.left,
    saved.top,
    saved.right,
    saved.bottom,
    SHOW[saved.state],
  );
} catch (error) {
  console.error('not placed:', error.message.trim());
  process.exitCode = 1;
}
