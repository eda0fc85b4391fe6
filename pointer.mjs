import pointer from './pointer.js';

export const { PointerStream } = pointer;
export default pointer;
