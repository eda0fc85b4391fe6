#include "bridge/host_imports.h"

namespace zeb {

// The system's loader binds everything or reports what is missing.
const std::string& missingImport() {
    static const std::string nothing;
    return nothing;
}

}  // namespace zeb
