#pragma once

namespace common {

/// For objects that hold outside resources and may have to give them up before their last reference goes.
/// A plain base, answered by the object's interface query. `dispose` may be called more than once.
struct Disposable {
    virtual void dispose() = 0;

protected:
    ~Disposable() = default;
};

}  // namespace common
