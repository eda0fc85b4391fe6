#include "common/v8binding/receivers.h"

#include <new>
#include <utility>

#include "common/utils/lock.h"
#include "common/v8binding/v8utils.h"

namespace common::js {

struct Receivers::Registry {
    Lock lock;
    std::unordered_map<v8::Isolate*, Receivers*> all ZEB_GUARDED_BY(lock);
};

// Never destroyed, because workers may still end while the process runs its exit handlers.
Receivers::Registry& Receivers::registry() {
    static Registry& instance = *new Registry;
    return instance;
}

Receivers* Receivers::search(v8::Isolate* isolate) noexcept {
    Registry& known = registry();
    const LockGuard guard(known.lock);
    const auto found = known.all.find(isolate);
    if (found == known.all.end()) return nullptr;
    t_last = {isolate, found->second};
    return found->second;
}

Receivers& Receivers::open(v8::Isolate* isolate) {
    Receivers* receivers = of(isolate);
    if (receivers == nullptr) {
        Registry& known = registry();
        const LockGuard guard(known.lock);
        const auto entry = known.all.try_emplace(isolate, nullptr).first;
        receivers = new (std::nothrow) Receivers(isolate);
        if (receivers == nullptr) {
            known.all.erase(entry);  // otherwise the next load would find null here
            throw std::bad_alloc();
        }
        entry->second = receivers;
    }
    ++receivers->m_users;
    return *receivers;
}

void Receivers::forget(const Environment& environment) noexcept {
    for (CallScope* call = m_innermost; call != nullptr; call = call->m_outer) {
        if (call->m_environment == &environment) call->m_environment = nullptr;
    }
}

void Receivers::leave() noexcept {
    if (--m_users != 0) return;
    {
        Registry& known = registry();
        const LockGuard guard(known.lock);
        const auto found = known.all.find(m_isolate);
        if (found != known.all.end() && found->second == this) known.all.erase(found);
    }
    if (t_last.receivers == this) t_last = {nullptr, nullptr};
    if (m_innermost == nullptr) {
        delete this;
    } else {
        m_isUnsettled = true;
    }
}

void Receivers::link(ReceiverList& home, Environment& environment, v8::Local<v8::Object> object,
                     ComPtr<IRefCounted> native, bool isComponent) {
    IRefCounted* const address = native.get();
    const v8::Local<v8::External> field = makeExternal(m_isolate, address);
    ReceiverList added;
    added.push_back({std::move(native), &environment, &home, isComponent, v8::Global<v8::Object>(m_isolate, object)});
    added.back().object.SetWeak();
    const ReceiverList replaced = take(address);  // a native object's last script object stands for it
    m_table[address] = added.begin();
    home.splice(home.end(), added);
    object->SetInternalField(0, field);
}

Receiver* Receivers::searchTable(v8::Local<v8::Object> object) {
    if (object->InternalFieldCount() != 1) return nullptr;
    const v8::Local<v8::Data> field = object->GetInternalField(0);
    if (!field->IsValue() || !field.As<v8::Value>()->IsExternal()) return nullptr;
    const auto found = m_table.find(externalValue(field.As<v8::Value>().As<v8::External>()));
    if (found == m_table.end() || found->second->object != object) return nullptr;
    m_last = &*found->second;
    return m_last;
}

ReceiverList Receivers::take(IRefCounted* native) noexcept {
    ReceiverList taken;
    const auto found = m_table.find(native);
    if (found == m_table.end()) return taken;
    const ReceiverList::iterator receiver = found->second;
    m_table.erase(found);
    if (m_last == &*receiver) m_last = nullptr;
    taken.splice(taken.end(), *receiver->home, receiver);
    return taken;
}

void Receivers::retire(Receiver& receiver) noexcept {
    ReceiverList taken = take(receiver.native.get());
    {
        const v8::HandleScope scope(m_isolate);
        const v8::Local<v8::Object> object = receiver.object.Get(m_isolate);
        if (!object.IsEmpty()) object->SetInternalField(0, makeExternal(m_isolate, nullptr));
    }
    receiver.object.Reset();
    if (m_innermost == nullptr) return;
    m_retired.splice(m_retired.end(), taken);
    m_isUnsettled = true;
}

ComPtr<IRefCounted> Receivers::takeCollected(IRefCounted* native) noexcept {
    ReceiverList taken = take(native);
    return taken.empty() ? ComPtr<IRefCounted>() : std::move(taken.back().native);
}

void Receivers::settle() noexcept {
    m_isUnsettled = false;
    ++m_users;  // a release may write to the log, whose handler may run anything
    ReceiverList().swap(m_retired);
    leave();
}

}  // namespace common::js
