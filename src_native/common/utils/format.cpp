#include "common/utils/format.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <exception>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "common/utils/failure.h"
#include "common/utils/platform_services.h"
#include "common/utils/text.h"

namespace common {

namespace format_internal {

void renderLiteral(std::ostream& out, const void* value) { out << static_cast<const char*>(value); }

void renderCString(std::ostream& out, const void* value) {
    if (const char* text = *static_cast<const char* const*>(value)) out << text;
}

void renderView(std::ostream& out, const void* value) { out << *static_cast<const std::string_view*>(value); }

void renderString(std::ostream& out, const void* value) { out << *static_cast<const std::string*>(value); }

void renderWide(std::ostream& out, const void*) { out << kWideTextNotConverted; }

void renderTypeInfo(std::ostream& out, const void* value) {
    out << platform::typeName(*static_cast<const std::type_info*>(value));
}

}  // namespace format_internal

namespace zeb_internal {
namespace {

// These messages are part of the output, so they are ours: those of standard libraries differ.
int toInt(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str()) throw std::invalid_argument("invalid stoi argument");
    if (errno == ERANGE || value < INT_MIN || value > INT_MAX) throw std::out_of_range("stoi argument out of range");
    return static_cast<int>(value);
}

std::string_view stripBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// Restores a stream's flags to what they were at construction.
class FlagsSaver {
public:
    explicit FlagsSaver(std::ostream& out) : m_out(out), m_flags(out.flags()) {}
    ~FlagsSaver() { m_out.flags(m_flags); }
    FlagsSaver(const FlagsSaver&) = delete;
    FlagsSaver& operator=(const FlagsSaver&) = delete;

private:
    std::ostream& m_out;
    std::ios_base::fmtflags m_flags;
};

/// The option `f.P`: fixed point with P digits. The destructor restores the precision, which is not one of the flags
/// that `FlagsSaver` restores.
class FFixedFormatting {
public:
    FFixedFormatting(std::ostream& out, std::string_view token) : m_out(out), m_precision(out.precision()) {
        if (token.size() < 3) {
            throw common_internal::DefaultException(
                {"common::zeb_internal::`anonymous-namespace'::FFixedFormatting::FFixedFormatting",
                 "src_native/common/utils/format", 113},
                "Bad format", 0);
        }
        out.precision(toInt(std::string(token.substr(2))));
        out.setf(std::ios_base::fixed, std::ios_base::floatfield);
    }
    ~FFixedFormatting() { m_out.precision(m_precision); }
    FFixedFormatting(const FFixedFormatting&) = delete;
    FFixedFormatting& operator=(const FFixedFormatting&) = delete;

private:
    std::ostream& m_out;
    std::streamsize m_precision;
};

/// All options of one placeholder, applied in order. The destructor undoes them together.
class AppliedOptions {
public:
    AppliedOptions(std::ostream& out, std::string_view options) : m_flags(out) {
        while (!options.empty()) {
            const auto colon = options.find(':');
            apply(out, options.substr(0, colon));
            options = colon == std::string_view::npos ? std::string_view{} : options.substr(colon + 1);
        }
    }

private:
    void apply(std::ostream& out, std::string_view token) {
        if (token.empty()) return;
        switch (token.front()) {
            case 'f':
            case 'F':
                m_fixed.emplace(out, token);
                break;
            case 'X':
                out << std::uppercase;
                [[fallthrough]];
            case 'x':
                out << std::hex;
                break;
            case 'D':
                out << std::uppercase;
                [[fallthrough]];
            case 'd':
                out << std::dec;
                break;
            default:
                break;
        }
    }

    FlagsSaver m_flags;
    std::optional<FFixedFormatting> m_fixed;
};

struct Placeholder {
    int index;  // -1: only options
    std::string_view options;
};

Placeholder parsePlaceholder(std::string_view spec, int indexOffset) {
    const auto colon = spec.find(':');
    const std::string_view indexText = stripBlanks(spec.substr(0, colon));
    Placeholder result{-1, colon == std::string_view::npos ? std::string_view{} : stripBlanks(spec.substr(colon + 1))};
    if (!indexText.empty()) result.index = toInt(std::string(indexText)) + indexOffset;
    return result;
}

class Formatter {
public:
    Formatter(std::string_view text, const FormatArgument* arguments, std::size_t count)
        : m_text(text), m_arguments(arguments), m_count(count) {
        m_out.imbue(std::locale::classic());  // the host's global locale must not group digits
        m_out << std::boolalpha;
    }

    std::string run() {
        std::size_t position = 0;
        while (position < m_text.size()) position = scan(position);
        writeLiteral(m_text.size());
        return m_out.str();
    }

private:
    // Looks at the character at `position` and returns the position to continue at.
    std::size_t scan(std::size_t position) {
        const char c = m_text[position];
        if (c == '{') {
            const auto close = m_text.find('}', position + 1);
            if (close == std::string_view::npos || close == position + 1) return position + 1;
            placeholder(position, m_text.substr(position + 1, close - position - 1), 0, close + 1);
            return close + 1;
        }
        if (c != '%' || position + 1 == m_text.size()) return position + 1;
        if (m_text[position + 1] == '%') {
            m_out << '%';
            m_literal = position + 2;  // drops the pending literal text
            return position + 2;
        }
        std::size_t end = position + 1;
        while (end < m_text.size() && m_text[end] >= '0' && m_text[end] <= '9') ++end;
        if (end == position + 1) return position + 1;
        placeholder(position, m_text.substr(position + 1, end - position - 1), -1, end);
        return end;
    }

    void placeholder(std::size_t start, std::string_view spec, int indexOffset, std::size_t next) {
        writeLiteral(start);
        m_literal = next;
        try {
            const Placeholder parsed = parsePlaceholder(spec, indexOffset);
            if (parsed.index < 0) {
                m_lasting.emplace(m_out, parsed.options);
            } else if (static_cast<std::size_t>(parsed.index) < m_count) {
                const AppliedOptions options(m_out, parsed.options);
                const FormatArgument& argument = m_arguments[parsed.index];
                argument.render(m_out, argument.value);
            } else {
                m_out << "()";
            }
        } catch (const std::exception& failure) {
            m_out << "ERROR:(" << failure.what() << ')';
        }
    }

    void writeLiteral(std::size_t end) {
        if (end > m_literal) m_out << m_text.substr(m_literal, end - m_literal);
        m_literal = end;
    }

    std::string_view m_text;
    const FormatArgument* m_arguments;
    std::size_t m_count;
    std::size_t m_literal = 0;  // start of the literal text that is not yet written
    std::ostringstream m_out;
    std::optional<AppliedOptions> m_lasting;  // in effect until the next placeholder of options only
};

}  // namespace
}  // namespace zeb_internal

std::string format(std::string_view text, const FormatArgument* arguments, std::size_t count) {
    if (count == 0 || text.empty()) return std::string(text);
    return zeb_internal::Formatter(text, arguments, count).run();
}

}  // namespace common
