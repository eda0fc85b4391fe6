// The module under test, as a user's script gets it.
'use strict';
const { buildFile } = require('./built');

const file = buildFile('node', 'zebbridge.node');

module.exports = {
  buildFile,
  file,
  zebbridge: require(file),

  // Collects garbage completely: weak callbacks run inside the garbage collection, and what they release may need
  // another.
  collect() {
    global.gc();
    global.gc();
  },
};
