// The identifiers of parameterised types, computed as the system does it: a name-based UUID (version 5, SHA-1) of the
// type's signature. The signature is made from the identifiers that the headers have for the types inside.
// https://learn.microsoft.com/uwp/winrt-cref/winrt-type-system#guid-generation-for-parameterized-types

#include <winrt/Windows.Foundation.h>
#include <winrt/Windows.Management.Deployment.h>

#include <windows.h>

#include <gtest/gtest.h>
#include <wincrypt.h>
#include <array>
#include <cstring>
#include <format>
#include <string>
#include <string_view>

namespace {
using winrt::guid;
using winrt::guid_of;
namespace foundation = winrt::Windows::Foundation;
namespace deployment = winrt::Windows::Management::Deployment;

using Digest = std::array<uint8_t, 20>;

Digest sha1(std::string_view bytes) {
    Digest digest{};
    auto size = static_cast<DWORD>(digest.size());
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
    EXPECT_TRUE(CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
    EXPECT_TRUE(CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash));
    EXPECT_TRUE(CryptHashData(hash, reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()), 0));
    EXPECT_TRUE(CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &size, 0));
    CryptDestroyHash(hash);
    CryptReleaseContext(provider, 0);
    return digest;
}

std::string textOf(const guid& id) {
    std::string text = std::format("{:08x}-{:04x}-{:04x}-", id.Data1, id.Data2, id.Data3);
    for (std::size_t index = 0; index != std::size(id.Data4); ++index) {
        text += std::format("{}{:02x}", index == 2 ? "-" : "", id.Data4[index]);
    }
    return text;
}

/// A name-based UUID in `space`. The bytes of `space` and of the result are in the order of their text.
guid uuid5(std::string_view space, std::string_view name) {
    std::string bytes;
    for (std::size_t at = 0; at < space.size(); at += space[at] == '-' ? 1 : 2) {
        if (space[at] != '-') bytes += static_cast<char>(std::stoi(std::string(space.substr(at, 2)), nullptr, 16));
    }
    Digest digest = sha1(bytes + std::string(name));
    digest[6] = static_cast<uint8_t>((digest[6] & 0x0F) | 0x50);
    digest[8] = static_cast<uint8_t>((digest[8] & 0x3F) | 0x80);
    std::string text;
    for (std::size_t index = 0; index != 16; ++index) {
        text +=
            std::format("{}{:02x}", index == 4 || index == 6 || index == 8 || index == 10 ? "-" : "", digest[index]);
    }
    return guid(text);
}

// The types' spellings in signatures.
const std::string result =
    "rc(Windows.Management.Deployment.DeploymentResult;{" + textOf(guid_of<deployment::IDeploymentResult>()) + "})";
const std::string progress =
    "struct(Windows.Management.Deployment.DeploymentProgress;"
    "enum(Windows.Management.Deployment.DeploymentProgressState;i4);u4)";

std::string idOf(std::string_view generic, const std::string& parameters) {
    return textOf(
        uuid5("11f47ad5-7b73-42c0-abae-878b1e16adee", "pinterface({" + std::string(generic) + "};" + parameters + ")"));
}

TEST(ParameterisedId, namesAreHashedAsTheStandardSays) {
    // The example of RFC 9562, A.4: the name "www.example.com" in the space of domain names.
    EXPECT_EQ(textOf(uuid5("6ba7b810-9dad-11d1-80b4-00c04fd430c8", "www.example.com")),
              "2ed6657d-e927-568b-95e1-2665a8aea6a2");
}

TEST(ParameterisedId, ofAnOperationThatYieldsTruth) {
    EXPECT_EQ(textOf(guid_of<foundation::IAsyncOperation<bool>>()), idOf("9fc2b0bb-e446-44e2-aa61-9cab8f636af2", "b1"));
    EXPECT_EQ(textOf(guid_of<foundation::AsyncOperationCompletedHandler<bool>>()),
              idOf("fcdcf02c-e5d8-4478-915a-4d90b74b83a5", "b1"));
}

TEST(ParameterisedId, ofADeployment) {
    using Handler = foundation::AsyncOperationWithProgressCompletedHandler<deployment::DeploymentResult,
                                                                           deployment::DeploymentProgress>;
    EXPECT_EQ(textOf(guid_of<deployment::DeploymentOperation>()),
              idOf("b5d036d7-e297-498f-ba60-0289e76e23dd", result + ";" + progress));
    EXPECT_EQ(textOf(guid_of<Handler>()), idOf("e85df41d-6aa7-46e3-a8e2-f009d840c627", result + ";" + progress));
}
}  // namespace
