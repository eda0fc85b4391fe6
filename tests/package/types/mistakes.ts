// What the types must refuse. Every marked line is an error, and no other line is.
import { ButtonTransition, diagnostics, hardware, msix_auto_updater, windows } from 'zebbridge';

// @ts-expect-error: no such button
hardware.getButtonState(3);
// @ts-expect-error: a missing argument throws
hardware.getButtonState();
// @ts-expect-error: a callback that is not a function fails silently
hardware.capturePointer().setMotionEventCallback(42);
// @ts-expect-error: buttons have no offset
hardware.capturePointer().setButtonsEventCallback(({ offset }) => offset);
// @ts-expect-error: a missing argument throws
diagnostics.setLogHandler();
// @ts-expect-error: six arguments
windows.setWindowPlacement(1, 2, 3, 4, 5);
// @ts-expect-error: a bigint is not converted
windows.setWindowPlacement(1n, 2, 3, 4, 5, 6);
// @ts-expect-error: no such show state
windows.setWindowPlacement(1, 2, 3, 4, 5, 99);
// @ts-expect-error: constants do not change
ButtonTransition.Pressed = 3;
// @ts-expect-error: schemes are a list
windows.openExternalIgnoringAppLinking('a:', { schemes: 'a' });
// @ts-expect-error: text
windows.openExternalIgnoringAppLinking(new URL('https://example.com/'));
// @ts-expect-error: nothing is returned, because a success is not reported
msix_auto_updater.applyUpdate('https://example.com/app.msix').then(() => {});
