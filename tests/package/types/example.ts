// Uses every function as an application would.
import {
  ButtonTransition,
  crash_emitter,
  diagnostics,
  hardware,
  LogLevel,
  MouseButton,
  msix_auto_updater,
  ShowCommand,
  shutdown,
  supported,
  windows,
  type AddressOptions,
  type ButtonsEvent,
  type LoadErrorCode,
  type MotionEvent,
  type PointerCapture,
} from 'zebbridge';

const path: MotionEvent[] = [];
const presses: ButtonsEvent[] = [];

diagnostics.setLogHandler((message: string, level: LogLevel) => {
  if (level === LogLevel.Error) path.length = message.length;
});
diagnostics.setLogHandler(null);

const capture: PointerCapture = hardware.capturePointer();
capture.setMotionEventCallback((event) => path.push(event));
capture.setButtonsEventCallback((event) => {
  presses.push(event);
  if (event.left === ButtonTransition.Pressed && event.middle === 0 && event.right === 0) capture.stopCapturing();
});
if (!hardware.getButtonState(MouseButton.Left)) capture.startCapturing();
capture.setMotionEventCallback(null);
capture.setButtonsEventCallback(undefined);
const distance: number = path.reduce((sum, { offset, screenPoint }) => sum + offset.x + screenPoint.y, 0);

windows.registerApplicationRestart();
windows.openExternalIgnoringAppLinking('https://example.com/');
const revision: number = windows.getWindowsUpdateBuildRevision();
const options: AddressOptions = { schemes: ['ms-settings'] };
windows.openExternalIgnoringAppLinking('ms-settings:display', options);
windows.setWindowPlacement(revision, 0, 0, distance, 600, ShowCommand.ShowNormal);
windows.setWindowPlacement(revision, 0, 0, distance, 600, 3);

msix_auto_updater.setErrorHandler((message) => message.toUpperCase());
const records: string[] = msix_auto_updater.getUpdateErrors('<QueryList/>');
msix_auto_updater.applyUpdate(records[0] ?? 'https://example.com/app.msix');
msix_auto_updater.dispose();

function crash(how: 'overflow' | 'violation'): never {
  return how === 'overflow' ? crash_emitter.emitStackOverflow() : crash_emitter.emitAccessViolation();
}
const code: LoadErrorCode = 'ERR_ZEBBRIDGE_UNAVAILABLE';
const left: 0 = MouseButton.Left;
const button: MouseButton = MouseButton.Right;
export { button, code, crash, left };
if (supported) shutdown();
