#pragma once

#include <cstdint>
#include <typeinfo>

// The roots of the object model are in the global namespace because their names are part of message texts.

/// The run-time type information of an interface identifies it. Two modules each have their own `std::type_info` of one
/// interface; the two compare equal because their decorated names are equal.
using InterfaceId = std::type_info;

/// The root of every interface: tells which interfaces an object implements. The order of the virtual functions is
/// fixed.
struct IAnything {
    virtual ~IAnything() = default;
    /// True if the object implements the interface `id`.
    virtual bool supports(const InterfaceId& id) const noexcept = 0;
    /// The sub-object that implements `id`, or null. Adds no reference.
    virtual void* query(const InterfaceId& id) noexcept = 0;
};

/// A weak reference: it knows whether the object still exists and does not keep it alive. It is counted itself.
struct IWeakReference;

/// Strong counting. The order of the virtual functions is fixed. The object's counting policy decides which threads may
/// count (see `shared_state.h`).
struct IRefCounted : virtual IAnything {
    virtual void addRef() noexcept = 0;
    /// Drops one reference. Dropping the last one destroys the object at once, on this thread.
    virtual void release() noexcept = 0;
    /// Adds a weak reference and returns it. The caller releases it.
    virtual IWeakReference* getWeakReference() noexcept = 0;
    virtual std::uint32_t refCount() const noexcept = 0;
};

struct IWeakReference {
    virtual void addRef() noexcept = 0;
    virtual void release() noexcept = 0;
    /// A new strong reference to the object, which the caller releases; null if the object is gone.
    virtual IRefCounted* lock() noexcept = 0;
    /// True once the object is gone. It never comes back.
    virtual bool expired() const noexcept = 0;

protected:
    ~IWeakReference() = default;  // only the shared state destroys itself
};
