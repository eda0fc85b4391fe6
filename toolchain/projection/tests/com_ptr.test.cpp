// Counted pointers and the projected roots.

#include "fakes.h"

#include <gtest/gtest.h>

namespace {
using namespace projection_tests;
namespace foundation = winrt::Windows::Foundation;
using winrt::com_ptr;
using winrt::guid_of;
using winrt::impl::InspectableAbi;
using winrt::impl::UnknownAbi;

FakeInspectable<InspectableAbi>* makeFake() {
    return new FakeInspectable<InspectableAbi>({guid_of<UnknownAbi>(), guid_of<InspectableAbi>()});
}

TEST(ComPtr, CountsReferences) {
    const LeakCheck leaks;
    auto* const fake = makeFake();
    {
        const com_ptr<InspectableAbi> first(fake, winrt::take_ownership_from_abi);
        com_ptr<InspectableAbi> second = first;
        EXPECT_EQ(2u, fake->references());
        com_ptr<InspectableAbi> third = std::move(second);
        EXPECT_FALSE(second);
        EXPECT_EQ(2u, fake->references());
        third = first;
        EXPECT_EQ(2u, fake->references());
        InspectableAbi* raw = nullptr;
        third.copy_to(&raw);
        EXPECT_EQ(3u, fake->references());
        third.attach(raw);
        EXPECT_EQ(2u, fake->references());
        third.copy_from(fake);
        EXPECT_EQ(2u, fake->references());
        EXPECT_EQ(nullptr, *third.put());
        EXPECT_EQ(1u, fake->references());
    }
    EXPECT_EQ(0, leaks.leaked());
}

TEST(ComPtr, AsksForInterfaces) {
    const LeakCheck leaks;
    {
        const com_ptr<InspectableAbi> object(makeFake(), winrt::take_ownership_from_abi);
        EXPECT_EQ(object.get(), object.as<UnknownAbi>().get());
        EXPECT_FALSE(object.try_as<winrt::impl::MarshalAbi>());
        EXPECT_THROW(object.as<winrt::impl::MarshalAbi>(), winrt::hresult_no_interface);
        EXPECT_FALSE(com_ptr<InspectableAbi>().as<UnknownAbi>());
    }
    EXPECT_EQ(0, leaks.leaked());
}

TEST(ProjectedRoot, HoldsAsksAndCompares) {
    const LeakCheck leaks;
    {
        const foundation::IInspectable object(makeFake(), winrt::take_ownership_from_abi);
        const foundation::IUnknown other = object.as<foundation::IUnknown>();
        EXPECT_EQ(object, other);
        EXPECT_NE(object, foundation::IUnknown(nullptr));
        EXPECT_FALSE(object.try_as<foundation::IAsyncInfo>());
        EXPECT_THROW(object.as<foundation::IAsyncInfo>(), winrt::hresult_no_interface);
        foundation::IInspectable copy;
        EXPECT_FALSE(copy);
        winrt::copy_from_abi(copy, winrt::get_abi(object));
        EXPECT_EQ(object, copy);
        foundation::IInspectable attached;
        winrt::attach_abi(attached, winrt::detach_abi(copy));
        EXPECT_EQ(object, attached);
        EXPECT_FALSE(copy);
        winrt::copy_from_abi(copy, nullptr);
        EXPECT_FALSE(copy);
    }
    EXPECT_EQ(0, leaks.leaked());
}
}  // namespace
