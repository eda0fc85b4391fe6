#include "control_text.h"

#include <charconv>
#include <exception>
#include <stdexcept>
#include <type_traits>

namespace standins {
namespace {
std::wstring unescaped(std::wstring_view value) {
    std::wstring result;
    for (std::size_t i = 0; i != value.size(); ++i) {
        if (value[i] != L'\\') {
            result += value[i];
            continue;
        }
        switch (++i == value.size() ? L'?' : value[i]) {
            case L'\\':
                result += L'\\';
                break;
            case L't':
                result += L'\t';
                break;
            case L'n':
                result += L'\n';
                break;
            case L'0':
                result += L'\0';
                break;
            default:
                throw std::invalid_argument("a backslash stands before something else than \\ t n 0");
        }
    }
    return result;
}

// The parts of a text between separators; at least one.
std::vector<std::wstring_view> split(std::wstring_view text, wchar_t separator) {
    std::vector<std::wstring_view> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::wstring_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

std::string asciiOf(std::wstring_view text) {
    std::string result;
    for (const wchar_t unit : text) {
        if (unit > 0x7E) {
            throw std::invalid_argument("a name or a number is not ASCII");
        }
        result += static_cast<char>(unit);
    }
    return result;
}

template <typename Unit>
std::string quotedUnits(std::basic_string_view<Unit> text) {
    constexpr char digits[] = "0123456789abcdef";
    std::string result = "\"";
    for (const Unit unit : text) {
        const auto value = static_cast<uint32_t>(static_cast<std::make_unsigned_t<Unit>>(unit));
        if (value == '"' || value == '\\') {
            result += '\\';
            result += static_cast<char>(value);
        } else if (value >= 0x20 && value < 0x7F) {
            result += static_cast<char>(value);
        } else {
            result += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4) {
                result += digits[value >> shift & 0xF];
            }
        }
    }
    return result + '"';
}

thread_local std::string answer;
}  // namespace

const std::wstring& Command::text(std::size_t index) const {
    if (index >= m_values.size()) {
        throw std::invalid_argument("too few values");
    }
    return m_values[index];
}

std::string Command::ascii(std::size_t index) const { return asciiOf(text(index)); }

uint32_t Command::number(std::size_t index) const {
    const std::string digits = ascii(index);
    int64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size() || value < INT32_MIN || value > UINT32_MAX) {
        throw std::invalid_argument("not a 32-bit number: " + digits);
    }
    return static_cast<uint32_t>(value);
}

std::vector<Command> parseScript(std::wstring_view text) {
    std::vector<Command> commands;
    for (const std::wstring_view line : split(text, L'\n')) {
        if (line.empty()) {
            continue;
        }
        const auto parts = split(line, L'\t');
        std::vector<std::wstring> values;
        for (std::size_t i = 1; i != parts.size(); ++i) {
            values.push_back(unescaped(parts[i]));
        }
        commands.emplace_back(asciiOf(parts[0]), std::move(values));
    }
    return commands;
}

std::string quoted(std::wstring_view text) { return quotedUnits(text); }
std::string quoted(std::string_view text) { return quotedUnits(text); }

JsonObject& JsonObject::raw(std::string_view name, std::string_view json) {
    if (!m_members.empty()) {
        m_members += ',';
    }
    m_members += quoted(name);
    m_members += ':';
    m_members += json;
    return *this;
}

std::string jsonArray(const std::vector<std::string>& elements) {
    std::string result = "[";
    for (const std::string& element : elements) {
        if (result.size() > 1) {
            result += ',';
        }
        result += element;
    }
    return result + ']';
}

const char* applyScript(const wchar_t* text, std::size_t units, Applier apply) noexcept {
    std::string verb;
    try {
        for (const Command& command : parseScript({text, units})) {
            verb = command.verb();
            apply(command);
        }
        return nullptr;
    } catch (const std::exception& error) {
        answer = verb + ": " + error.what();
        return answer.c_str();
    }
}

const char* makeReport(const char* topic, Reporter report) noexcept {
    try {
        std::string json;
        if (!report(topic, json)) {
            return nullptr;
        }
        answer = std::move(json);
        return answer.c_str();
    } catch (const std::exception&) {
        return nullptr;
    }
}
}  // namespace standins
