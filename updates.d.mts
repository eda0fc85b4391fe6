import updates = require('./updates.js');

export * from './updates.js';
export default updates;
