// Which runtime this is.
'use strict';
console.log(JSON.stringify(process.versions));
