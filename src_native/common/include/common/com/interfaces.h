#pragma once

#include <cstdint>
#include <typeinfo>

// The roots of the object model stand in the global namespace: their names are part of message texts.

/// An interface's identity is its run-time type record. Records of one interface in two modules compare equal by
/// their decorated names.
using InterfaceId = std::type_info;

/// The root of every interface: says which interfaces an object implements. The virtual operations keep this order.
struct IAnything {
    virtual ~IAnything() = default;
    /// True when the object implements the interface `id`.
    virtual bool supports(const InterfaceId& id) const noexcept = 0;
    /// The sub-object that implements `id`, or null. Adds no reference.
    virtual void* query(const InterfaceId& id) noexcept = 0;
};

/// The counts of an object as those see them who must not keep it alive. Owned through its own references.
struct IWeakReference;

/// Strong counting. The virtual operations keep this order. Which threads may count is up to the object's policy
/// (see `shared_state.h`).
struct IRefCounted : virtual IAnything {
    virtual void addRef() noexcept = 0;
    /// Drops one reference; the last one destroys the object, here and now, on this thread.
    virtual void release() noexcept = 0;
    /// The object's shared state with one more weak reference, which the caller releases.
    virtual IWeakReference* getWeakReference() noexcept = 0;
    virtual std::uint32_t refCount() const noexcept = 0;
};

struct IWeakReference {
    virtual void addRef() noexcept = 0;
    virtual void release() noexcept = 0;
    /// A new strong reference to the object, which the caller releases, or null once the object is gone.
    virtual IRefCounted* lock() noexcept = 0;
    /// True once the object is gone; it never comes back.
    virtual bool expired() const noexcept = 0;

protected:
    ~IWeakReference() = default;  // only the shared state ends itself
};
