import pointer = require('./pointer.js');

export * from './pointer.js';
export default pointer;
