#pragma once

/// How a test talks to a stand-in that is a DLL of its own.
///
/// Two exported functions carry everything, so a test can script a stand-in without linking to it:
///
///   const char* standinCommand(const wchar_t* text, size_t units)   applies a script; returns null, or what is wrong
///   const char* standinReport(char const* topic)                    what was seen, as JSON; null for an unknown topic
///
/// A script is a list of lines. A line is a verb and its values, separated by tabs. Inside a value, \\ \t \n \0 stand
/// for a backslash, a tab, a line break and NUL, so a value can hold any UTF-16 unit. A wrong script applies up to the
/// wrong line. The JSON stays valid until the same thread asks for the next one.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace standins {
/// One line of a script. The functions below throw std::invalid_argument for a missing or unreadable value.
class Command {
public:
    Command(std::string verb, std::vector<std::wstring> values)
        : m_verb(std::move(verb)), m_values(std::move(values)) {}

    const std::string& verb() const noexcept { return m_verb; }
    std::size_t size() const noexcept { return m_values.size(); }
    const std::wstring& text(std::size_t index) const;
    std::string ascii(std::size_t index) const;
    /// Decimal, with an optional sign: a code may be written -2147024891 or 2147942405.
    uint32_t number(std::size_t index) const;
    int32_t code(std::size_t index) const { return static_cast<int32_t>(number(index)); }
    bool flag(std::size_t index) const { return number(index) != 0; }

private:
    std::string m_verb;
    std::vector<std::wstring> m_values;
};

std::vector<Command> parseScript(std::wstring_view text);

/// JSON in plain ASCII. Every other unit is escaped, so unpaired surrogates reach the test unchanged.
std::string quoted(std::wstring_view text);
std::string quoted(std::string_view text);

class JsonObject {
public:
    JsonObject& add(std::string_view name, std::wstring_view value) { return raw(name, quoted(value)); }
    JsonObject& add(std::string_view name, std::string_view value) { return raw(name, quoted(value)); }
    JsonObject& add(std::string_view name, const char* value) { return raw(name, quoted(std::string_view(value))); }
    JsonObject& add(std::string_view name, bool value) { return raw(name, value ? "true" : "false"); }
    template <typename T>
        requires std::is_integral_v<T>
    JsonObject& add(std::string_view name, T value) {
        return raw(name, std::to_string(value));
    }
    JsonObject& raw(std::string_view name, std::string_view json);
    std::string text() const { return "{" + m_members + "}"; }

private:
    std::string m_members;
};

std::string jsonArray(const std::vector<std::string>& elements);

/// Does the work of an exported function: keeps the answer for the calling thread and lets no exception out.
using Applier = void (*)(const Command& command);
using Reporter = bool (*)(std::string_view topic, std::string& json);
const char* applyScript(const wchar_t* text, std::size_t units, Applier apply) noexcept;
const char* makeReport(const char* topic, Reporter report) noexcept;
}  // namespace standins
