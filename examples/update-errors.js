// Prints what Windows wrote to its event log about failed package deployments in the last days.
//
//   node update-errors.js [days]
'use strict';
const { msix_auto_updater } = require('zebbridge');

const milliseconds = Number(process.argv[2] ?? 7) * 24 * 60 * 60 * 1000;
const query = `<QueryList><Query Path="Microsoft-Windows-AppXDeploymentServer/Operational">
  <Select>*[System[(Level=1 or Level=2) and TimeCreated[timediff(@SystemTime) &lt;= ${milliseconds}]]]</Select>
</Query></QueryList>`;

try {
  const records = msix_auto_updater.getUpdateErrors(query); // XML texts, oldest first
  for (const xml of records) {
    const [, time] = /<TimeCreated SystemTime=['"]([^'"]*)/.exec(xml) ?? [];
    const [, code] = /<Data Name=['"]ErrorCode['"]>([^<]*)/.exec(xml) ?? [];
    console.log(time ?? 'at an unknown time', code ?? xml);
  }
  console.log(`${records.length} failed deployments`);
} catch (error) {
  console.error('the event log cannot be read:', error.message.trim()); // the system's text ends with a line break
  process.exitCode = 1;
}
