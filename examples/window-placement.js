// Puts a window where it was when it was last saved, as an application does at its start. Takes the native window
// handle as a number; where a runtime gives it as a buffer, that is `Number(buffer.readBigUInt64LE())`.
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
  // The rectangle is the one to come back to, whatever the state.
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
