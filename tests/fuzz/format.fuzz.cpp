// Formats a text with arguments. The input's first line is the text; each further line is an argument whose first
// character is its type:
//
//   s text   z null text   w wide text   i int32   u uint32   l int64   q uint64   d double   b truth value   t type
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "common/utils/failure.h"
#include "common/utils/format.h"
#include "fuzz/check.h"

namespace {

using common::FormatArgument;
using common::format_internal::argument;

std::vector<std::string_view> lines(std::string_view input) {
    std::vector<std::string_view> result;
    for (;;) {
        const auto end = input.find('\n');
        result.push_back(input.substr(0, end));
        if (end == std::string_view::npos) return result;
        input.remove_prefix(end + 1);
    }
}

/// The arguments' values, at addresses that do not change.
class Values {
public:
    explicit Values(const std::vector<std::string_view>& input) {
        for (std::size_t index = 1; index < input.size(); ++index) {
            if (!input[index].empty()) add(input[index].front(), std::string(input[index].substr(1)));
        }
    }
    const std::vector<FormatArgument>& arguments() const { return m_arguments; }

private:
    void add(char type, const std::string& text) {
        const std::int64_t number = std::strtoll(text.c_str(), nullptr, 10);
        switch (type) {
            case 's':
                return m_arguments.push_back(argument(m_texts.emplace_back(text)));
            case 'z':
                return m_arguments.push_back(argument(m_null));
            case 'w':
                return m_arguments.push_back(argument(m_wide));
            case 'i':
                return m_arguments.push_back(argument(m_int32s.emplace_back(static_cast<std::int32_t>(number))));
            case 'u':
                return m_arguments.push_back(argument(m_uint32s.emplace_back(static_cast<std::uint32_t>(number))));
            case 'l':
                return m_arguments.push_back(argument(m_int64s.emplace_back(number)));
            case 'q':
                return m_arguments.push_back(argument(m_uint64s.emplace_back(static_cast<std::uint64_t>(number))));
            case 'd':
                return m_arguments.push_back(argument(m_doubles.emplace_back(std::strtod(text.c_str(), nullptr))));
            case 'b':
                return m_arguments.push_back(argument(number != 0 ? m_true : m_false));
            case 't':
                return m_arguments.push_back(argument(typeid(common::Exception)));
            default:
                return;
        }
    }

    std::deque<std::string> m_texts;
    std::deque<std::int32_t> m_int32s;
    std::deque<std::uint32_t> m_uint32s;
    std::deque<std::int64_t> m_int64s;
    std::deque<std::uint64_t> m_uint64s;
    std::deque<double> m_doubles;
    const char* m_null = nullptr;
    const std::wstring m_wide = L"wide";
    const bool m_true = true;
    const bool m_false = false;
    std::vector<FormatArgument> m_arguments;
};

/// Whether a placeholder may ask for a precision of four digits or more. `format` makes as many digits as asked for.
/// Its texts are the program's own, so none asks for millions.
bool asksForMuch(std::string_view text) {
    bool afterOption = false;
    int digits = 0;
    for (const char c : text) {
        if (c == '}') afterOption = false;
        if (c == 'f' || c == 'F') afterOption = true;
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        if (afterOption && digits == 4) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string_view> input = lines({reinterpret_cast<const char*>(data), size});
    const std::string text(input[0]);
    if (asksForMuch(text)) return -1;

    const Values values(input);
    const std::vector<FormatArgument>& arguments = values.arguments();
    const std::string result = common::format(text, arguments.data(), arguments.size());
    fuzz::check(result == common::format(text, arguments.data(), arguments.size()));
    fuzz::check(common::format(text) == text);
    fuzz::check(common::format("{0}", text) == text && common::format("%1", text) == text);
    if (text.find_first_of("{%") == std::string::npos) fuzz::check(result == text);
    // The text before the first placeholder and after the last stays, unless a pair drops it.
    if (!arguments.empty() && text.find('%') == std::string::npos) {
        const auto open = text.find('{');
        const auto close = text.rfind('}');
        if (open != std::string::npos) fuzz::check(result.starts_with(text.substr(0, open)));
        if (close != std::string::npos) fuzz::check(result.ends_with(text.substr(close + 1)));
    }
    return 0;
}
