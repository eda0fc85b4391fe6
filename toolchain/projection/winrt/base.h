#pragma once

/// The foundation of the projection. toolchain/projection/README.md lists what is covered.

#include "winrt/impl/activation.h"
#include "winrt/impl/com_ptr.h"
#include "winrt/impl/guid.h"
#include "winrt/impl/hresult_error.h"
#include "winrt/impl/hstring.h"
#include "winrt/impl/unknown.h"
