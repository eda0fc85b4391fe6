#pragma once

namespace common {

/// For objects that hold outside resources and may have to give them up before their last reference is dropped. This is
/// a plain base that the object's interface query returns. `dispose` may be called more than once.
struct Disposable {
    virtual void dispose() = 0;

protected:
    ~Disposable() = default;
};

}  // namespace common
