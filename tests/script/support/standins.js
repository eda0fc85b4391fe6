// The stand-ins for the system's services. They are scripted here; the module finds them through the real loader (in
// system32) and the real activation. Each process has its own state of them.
'use strict';
const path = require('node:path');
const { buildFile } = require('./zebbridge'); // first: the loader itself must have found what the module imports

const addon = require(buildFile('node', 'standin-control.node'));

const escapes = { '\\': '\\\\', '\t': '\\t', '\n': '\\n', '\0': '\\0' };
const value = (item) =>
  (typeof item === 'boolean' ? String(Number(item)) : String(item)).replace(/[\\\t\n\0]/g, (unit) => escapes[unit]);

// A stand-in's two functions; see tests/standins/Windows/control_text.h.
function standin(file) {
  const library = addon.loadStandin(file);
  return {
    command: (...lines) => addon.commandStandin(library, lines.map((line) => line.map(value).join('\t')).join('\n')),
    report: (topic) => JSON.parse(addon.reportStandin(library, topic)),
  };
}

// ---- the event log --------------------------------------------------------------------------------------------------
const logFile = path.join(process.env.SystemRoot, 'system32', 'wevtapi.dll');
const log = standin(logFile);

const eventlog = {
  file: logFile,
  // Replaces the whole log:
  //   channels  [{ name, status }]          what every query names; a status other than 0 cannot be read
  //   records   [xml, ...]                  oldest first
  //   batches   [count, ...]                the most event records that each EvtNext returns, 0 too; then as many as asked
  //   sizes     { index: bytes }            the size that EvtRender reports instead of the true one
  //   quiet     true                        success leaves the thread's last error alone
  //   faults    [{ call, at, code, result = false, work = false }]
  //             the at-th call (from 1) of a function returns `result` and sets the last error to `code`; with `work` it
  //             does its work nonetheless
  configure({ channels = [], records = [], batches = [], sizes = {}, quiet = false, faults = [] } = {}) {
    log.command(
      ['reset'],
      ...channels.map(({ name, status = 0 }) => ['channel', name, status]),
      ...records.map((xml) => ['record', xml]),
      ...batches.map((count) => ['batch', count]),
      ...Object.entries(sizes).map(([index, bytes]) => ['size', index, bytes]),
      ['quiet', quiet],
      ...faults.map(({ call, at, code, result = false, work = false }) => ['fault', call, at, code, result, work]),
    );
  },
  // Every call since then, in order, with its arguments, result and last error; with a name, only that function's.
  calls: (name) => log.report('calls').filter(({ call }) => name === undefined || call === name),
  counts: () => log.report('counts'),
  openHandles: () => log.report('open'),
};

// ---- the activatable classes ----------------------------------------------------------------------------------------
const server = standin(buildFile('standins', 'runtime-classes.dll'));

const classes = {
  Uri: 'Windows.Foundation.Uri',
  LauncherOptions: 'Windows.System.LauncherOptions',
  Launcher: 'Windows.System.Launcher',
  PackageManager: 'Windows.Management.Deployment.PackageManager',
};
const activationKey = (name) => `Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\${name}`;
const className = (name) => classes[name] ?? name;

// The lines for how one deployment goes. What is not named stays as it was.
function fate({ member = {}, reason, ...rest }) {
  return [
    ...['end', 'status', 'error', 'text', 'extended', 'results']
      .filter((verb) => verb in rest)
      .map((verb) => [verb, rest[verb]]),
    ...(reason === undefined ? [] : [['reason', reason.kind ?? 'restricted', reason.text]]),
    ...Object.entries(member).map(([name, code]) => ['member', name, code]),
  ];
}

const perClass = (verb, settings = {}) =>
  Object.entries(settings).map(([name, { code, reason = '' }]) => [verb, className(name), code, reason]);

const winrt = {
  classes,

  // Enters the classes in this prefix's registry, or removes them.
  install() {
    for (const name of Object.values(classes)) {
      addon.setRegistryText(
        activationKey(name),
        'DllPath',
        path.win32.normalize(buildFile('standins', 'runtime-classes.dll')),
      );
    }
  },
  uninstall() {
    for (const name of Object.values(classes)) addon.removeRegistryKey(activationKey(name));
  },

  // Forgets everything seen and scripted (held deployments end), then sets:
  //   activation  { Uri: { code, reason } }     the result of asking for a class's factory
  //   instance    { Uri: { code, reason } }     the result of making an object of a class
  //   agile       { Uri: false }                whether a class's factory says that any thread may call it
  //   options3    false                         launcher options lack their third interface
  //   options     code                          the result of setting an option
  //   launch      { code, reason }              the result of starting a launch
  //   refuse      { code, reason }              the result of starting a deployment
  //   deployment  fate                          how deployments end; see `outcomes`
  configure({
    activation,
    instance,
    agile = {},
    options3 = true,
    options = 0,
    launch = { code: 0 },
    refuse = { code: 0 },
    deployment = {},
  } = {}) {
    server.command(
      ['reset'],
      ...perClass('activation', activation),
      ...perClass('instance', instance),
      ...Object.entries(agile).map(([name, flag]) => ['agile', className(name), flag]),
      ['options3', options3],
      ['options', options],
      ['launch', launch.code, launch.reason ?? ''],
      ['refuse', refuse.code, refuse.reason ?? ''],
      ...fate(deployment),
    );
  },
  // How deployments end from now on; nothing else changes.
  deploymentsEnd: (deployment) => server.command(['success'], ...fate(deployment)),
  // Ends a held deployment, by its place among the updates.
  release: (index = 0) => server.command(['release', index]),

  // What the classes received: { activations, uris, options, launches, updates, live }.
  records: () =>
    Object.fromEntries(
      ['activations', 'uris', 'options', 'launches', 'updates', 'live'].map((topic) => [topic, server.report(topic)]),
    ),
  updates: () => server.report('updates'),
  live: () => server.report('live'),

  // Prepared fates. Add `end`: 'atReturn', 'onHandler' (default), 'afterStatus' or 'held'.
  outcomes: {
    success: () => ({}),
    // The way real deployments fail: the result describes the failure, nothing throws.
    errorText: (text, code = -2147009293) => ({ status: 3, error: code, extended: code, text }),
    // Asking for the result fails, with a text of its own if there is a reason.
    failure: (code, reason) => ({
      status: 3,
      error: code,
      results: code,
      reason: reason === undefined ? { kind: 'none', text: '' } : { text: reason },
    }),
    canceled: () => ({ status: 2 }),
    outOfMemory: () => ({ status: 3, error: -2147024882, results: -2147024882 }),
  },
};

// ---- the rest of the system -----------------------------------------------------------------------------------------
const updateRevision = ['SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion', 'UBR'];

const system = {
  // The system's English text for a Win32 error, including its line break.
  text: (code) => addon.systemText(code),
  // The system's text for an HRESULT, without trailing white space.
  message: (code) => addon.systemMessage(code),
  // The HRESULT of the system's own address parser: below 0 if the text is not an absolute address.
  parseAddress: (text) => addon.parseAddress(text),
  threadId: () => addon.currentThreadId(),
  loadedFrom: (library) => addon.loadedFrom(library),
};

const registry = {
  setUpdateRevision: (number) => addon.setRegistryNumber(...updateRevision, number),
  setUpdateRevisionText: (text) => addon.setRegistryText(...updateRevision, text),
  removeUpdateRevision: () => addon.removeRegistryValue(...updateRevision),
  updateRevision: () => addon.registryNumber(...updateRevision),
};

const windows = {
  // A top-level window with its own thread and message loop; returns its handle.
  open: ({ visible = true } = {}) => addon.openPlacedWindow(visible),
  close: (window) => addon.closePlacedWindow(window),
  // { flags, showCommand, minimised, maximised, normal } and { exists, visible, minimised, maximised, rectangle }.
  placement: (window) => addon.windowPlacement(window),
  state: (window) => addon.windowState(window),
};

// The module's calls of RegisterApplicationRestart, RegGetValueW, GetWindowPlacement and SetWindowPlacement.
const imports = {
  // Records them from now on; returns how many of the four the module has.
  watch: (module = 'zebbridge.node') => addon.watchImports(module),
  // Makes a function return `result` without asking the system, until the next `take`.
  answer: (name, result, lastError = 0) => addon.answerImport(name, result, lastError),
  // For each library whose functions a module binds late: { library, functions, bound, readOnly }.
  late: (module = 'zebbridge.node') => JSON.parse(addon.lateImports(module)),
  // The calls since the last time. Also forgets the answers.
  take: () => JSON.parse(addon.takeImportCalls()),
};

module.exports = { winrt, eventlog, system, registry, windows, imports };
