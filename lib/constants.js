'use strict';

// Names for the numbers that the native module accepts and returns.

module.exports = {
  MouseButton: Object.freeze({ Left: 0, Middle: 1, Right: 2 }),
  ButtonTransition: Object.freeze({ None: 0, Released: 1, Pressed: 2 }),
  LogLevel: Object.freeze({ Information: 0, Warning: 1, Error: 2 }),
  ShowCommand: Object.freeze({
    Hide: 0,
    ShowNormal: 1,
    ShowMinimized: 2,
    ShowMaximized: 3,
    ShowNoActivate: 4,
    Show: 5,
    Minimize: 6,
    ShowMinNoActive: 7,
    ShowNA: 8,
    Restore: 9,
  }),
};
