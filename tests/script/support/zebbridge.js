// The module under test, as a user's script has it.
'use strict';
const { buildFile } = require('./built');

const file = buildFile('node', 'zebbridge.node');

module.exports = {
  buildFile,
  file,
  zebbridge: require(file),

  // Collects for good: weak callbacks run inside the collection, what they release may need another one.
  collect() {
    for (let round = 0; round < 3; ++round) global.gc();
  },
};
