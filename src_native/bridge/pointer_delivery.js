'use strict';

// Delivers a batch of pointer records to the two callbacks, from the position that the batch names. The build embeds
// this file; `PointerDelivery` compiles it in each environment.
//
// `batch` is an Int32Array: three words about the delivery, then the pointer records. A record's numbers are those of
// its two events, in the order of their literals below.
(function deliver(batch, end, motion, buttons) {
  const IS_INTERRUPTED = 0; // set by native code while a callback runs: return after this event
  const RECORD = 1; // the position: this record is next,
  const IS_MOTION_DONE = 2; // with its buttons event if this is not 0
  const HEAD = 3;
  const FIELDS = 7;

  let isMotionDone = batch[IS_MOTION_DONE] !== 0;
  for (let record = batch[RECORD]; record < end; record++) {
    const at = HEAD + record * FIELDS;
    if (motion !== undefined && !isMotionDone) {
      const x = batch[at];
      const y = batch[at + 1];
      if (x !== 0 || y !== 0) {
        // Written before the call, because the callback may run the event loop, where another delivery continues from
        // here.
        batch[RECORD] = record;
        batch[IS_MOTION_DONE] = 1;
        try {
          motion({ offset: { x, y }, screenPoint: { x: batch[at + 2], y: batch[at + 3] } });
        } catch {}
        if (batch[IS_INTERRUPTED] !== 0) return;
      }
    }
    isMotionDone = false;
    if (buttons !== undefined) {
      const left = batch[at + 4];
      const middle = batch[at + 5];
      const right = batch[at + 6];
      if (left !== 0 || middle !== 0 || right !== 0) {
        batch[RECORD] = record + 1;
        batch[IS_MOTION_DONE] = 0;
        try {
          buttons({ left, middle, right });
        } catch {}
        if (batch[IS_INTERRUPTED] !== 0) return;
      }
    }
  }
  batch[RECORD] = end;
  batch[IS_MOTION_DONE] = 0;
});
