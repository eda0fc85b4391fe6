// The module over the harness, with what a script needs to use it: captures that are fed, and updates that end as told.
// This is text, because other realms, threads and processes run it. They need the globals `require` and `file`, which
// names the harness.
'use strict';

const LOAD = `
  globalThis.addon = require(file);
  globalThis.hardware = addon.hardware;
  globalThis.diagnostics = addon.diagnostics;
  globalThis.updater = addon.msix_auto_updater;
  globalThis.shutdown = addon.shutdown;
  globalThis.harness = addon.harness;
  globalThis.capturing = (motion, buttons = null) => {
    const capture = (globalThis.capture = hardware.capturePointer());
    capture.setMotionEventCallback(motion);
    capture.setButtonsEventCallback(buttons);
    capture.startCapturing();
    return capture;
  };
  globalThis.reports = [];
  globalThis.updating = (held, heard = (text) => reports.push(text)) => {
    harness.planDeployments('failed', held);
    updater.setErrorHandler(heard);
    updater.applyUpdate('https://example.com/app.msix');
  };
  // Waits for other threads without turning the loop.
  globalThis.spin = (what, condition) => {
    for (const deadline = Date.now() + 60000; !condition();) {
      if (Date.now() > deadline) throw new Error(what + ': not within a minute');
    }
  };
  // Queues pointer records that the input thread has passed on and no callback has seen.
  globalThis.queue = (count, first = 0, pressEvery = 0) => {
    const before = harness.dispatched();
    harness.burst(count, first, pressEvery);
    spin('the records', () => harness.dispatched() >= before + count);
  };
`;

module.exports = { LOAD };
