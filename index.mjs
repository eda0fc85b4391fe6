import bridge from './index.js';

export const {
  crash_emitter,
  diagnostics,
  hardware,
  windows,
  msix_auto_updater,
  shutdown,
  supported,
  MouseButton,
  ButtonTransition,
  LogLevel,
  ShowCommand,
} = bridge;
export default bridge;
