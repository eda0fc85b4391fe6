import updates from './updates.js';

export const { applyUpdate, updateErrors, UpdateError } = updates;
export default updates;
