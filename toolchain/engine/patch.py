#!/usr/bin/env python3
"""patch.py SOURCE: makes Node.js's source buildable with V8's sandbox, and fast to compile.

Node.js itself never switches the sandbox on, because some of its buffers are in memory outside the sandbox. With this
patch, V8 copies such data instead of refusing it. That is enough to run tests, and too little for anything else.
"""
import pathlib
import re
import sys

SOURCE = pathlib.Path(sys.argv[1])


def edit(name, pattern, replacement, count=1):
    path = SOURCE / name
    text, found = re.subn(pattern, replacement, path.read_text(), count=count, flags=re.S)
    if found == 0:
        sys.exit(f'{name} is not the file that this patch expects: it has no {pattern!r}')
    path.write_text(text)


def create(name, text):
    path = SOURCE / name
    if not path.exists():
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)


edit('configure.py', r"(\['v8_enable_sandbox'\] = )0", r'\g<1>1')

# Data outside the sandbox is copied into it, and the caller's data is freed at once.
edit('deps/v8/src/api/api.cc',
     r'#ifdef V8_ENABLE_SANDBOX\n  Utils::ApiCheck\(!data \|\| [^;]*"v8_ArrayBuffer_NewBackingStore"[^;]*;\n#endif[^\n]*\n',
     '''#ifdef V8_ENABLE_SANDBOX
  if (data && !i::Sandbox::current()->Contains(data)) {
    auto copy = i::BackingStore::Allocate(i::Isolate::Current(), byte_length, i::SharedFlag::kNotShared,
                                          i::InitializedFlag::kUninitialized);
    CHECK(copy);
    memcpy(copy->buffer_start(), data, byte_length);
    if (deleter) deleter(data, byte_length, deleter_data);
    std::unique_ptr<i::BackingStoreBase> base = std::move(copy);
    return std::unique_ptr<v8::BackingStore>(static_cast<v8::BackingStore*>(base.release()));
  }
#endif
''')
edit('src/node_buffer.cc', r'#if defined\(V8_ENABLE_SANDBOX\)(\n  // When v8 sandbox is enabled, external backing)', r'#if 0\1')
edit('src/node_buffer.cc', r'CHECK_LE\(size, kMaxSafe', 'CHECK_LE(size, v8::internal::kMaxSafe')

# Compiles in a third of the time. (In "cflags!", which removes options, -O1 must not replace them.)
for name in ('common.gypi', 'tools/v8_gypfiles/toolchain.gypi'):
    edit(name, r"('cflags': \[ ?)'-O[23]'", r"\g<1>'-O1'", count=0)

# What the package makes elsewhere in its build.
create('deps/minimatch/index.js', 'module.exports = {};\n')
create('deps/openssl/nodejs-openssl.cnf', 'nodejs_conf = nodejs_init\n[nodejs_init]\n')
