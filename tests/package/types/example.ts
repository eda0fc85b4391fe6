// Uses every function as an application would.
import {
    crash_emitter,
    diagnostics,
    hardware,
    msix_auto_updater,
    shutdown,
    windows,
    type ButtonsEvent,
    type LogLevel,
    type MotionEvent,
    type PointerCapture,
} from 'zebbridge';

const path: MotionEvent[] = [];
const presses: ButtonsEvent[] = [];

diagnostics.setLogHandler((message: string, level: LogLevel) => {
    if (level === 2) path.length = message.length;
});
diagnostics.setLogHandler(null);

const capture: PointerCapture = hardware.capturePointer();
capture.setMotionEventCallback((event) => path.push(event));
capture.setButtonsEventCallback((event) => {
    presses.push(event);
    if (event.left === 2 && event.middle === 0 && event.right === 0) capture.stopCapturing();
});
if (!hardware.getButtonState(0)) capture.startCapturing();
capture.setMotionEventCallback(null);
capture.setButtonsEventCallback(undefined);
const distance: number = path.reduce((sum, { offset, screenPoint }) => sum + offset.x + screenPoint.y, 0);

windows.registerApplicationRestart();
windows.openExternalIgnoringAppLinking('https://example.com/');
const revision: number = windows.getWindowsUpdateBuildRevision();
windows.setWindowPlacement(revision, 0, 0, distance, 600, 1);

msix_auto_updater.setErrorHandler((message) => message.toUpperCase());
const records: string[] = msix_auto_updater.getUpdateErrors('<QueryList/>');
msix_auto_updater.applyUpdate(records[0] ?? 'https://example.com/app.msix');
msix_auto_updater.dispose();

function crash(how: 'overflow' | 'violation'): never {
    return how === 'overflow' ? crash_emitter.emitStackOverflow() : crash_emitter.emitAccessViolation();
}
export { crash };
shutdown();
