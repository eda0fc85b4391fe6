import bridge = require('./index.js');

export * from './index.js';
export default bridge;
