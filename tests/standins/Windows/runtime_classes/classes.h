#pragma once

/// The factories of the stand-in classes. Each call returns one reference, which the caller owns.

#include "abi.h"

#include <string>

namespace standins::runtime {
inline constexpr wchar_t uriClass[] = L"Windows.Foundation.Uri";
inline constexpr wchar_t launcherOptionsClass[] = L"Windows.System.LauncherOptions";
inline constexpr wchar_t launcherClass[] = L"Windows.System.Launcher";
inline constexpr wchar_t packageManagerClass[] = L"Windows.Management.Deployment.PackageManager";

abi::ActivationFactory* makeUriFactory();
abi::ActivationFactory* makeLauncherOptionsFactory();
abi::ActivationFactory* makeLauncherFactory();
abi::ActivationFactory* makePackageManagerFactory();

/// The text of an address object that was made here.
bool readUri(IUnknown* uri, std::wstring& text);
}  // namespace standins::runtime
