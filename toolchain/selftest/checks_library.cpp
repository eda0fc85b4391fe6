#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <functional>
#include <iomanip>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <variant>

#include "checks.h"

namespace selftest {

void checkLibrary(Checks& checks) {
    const auto add = [&](const char* name, std::string expected, std::string actual) {
        checks.push_back({name, std::move(expected), std::move(actual)});
    };

    std::ostringstream out;
    out << std::boolalpha << true << ' ' << std::hex << std::showbase << 48879 << std::dec << ' ' << std::fixed
        << std::setprecision(3) << 2.0 / 3 << ' ' << std::setw(6) << std::setfill('*') << 42 << ' ' << 1e20;
    add("ostringstream", "true 0xbeef 0.667 ****42 100000000000000000000.000", out.str());

    std::istringstream in("17 2.5 word");
    int integer = 0;
    double real = 0;
    std::string word;
    in >> integer >> real >> word;
    add("istringstream", "17 2.5 word", (std::ostringstream() << integer << ' ' << real << ' ' << word).str());

    std::wostringstream wide;
    wide << L"wide " << 3.25 << L' ' << std::hex << 255;
    add("wostringstream", "1", std::to_string(wide.str() == L"wide 3.25 ff"));

    std::list<std::string> names{"b", "c", "a"};
    names.sort();
    names.remove("b");
    add("list", "ac", names.front() + names.back());

    std::map<std::string, std::function<int(int)>> functions;
    int factor = 3;
    functions["x"] = [factor](int value) { return value * factor; };
    std::optional<int> product;
    if (const auto found = functions.find("x"); found != functions.end()) {
        product = found->second(14);
    }
    add("map, function, optional", "42", std::to_string(product.value_or(0)));

    std::variant<int, std::string> variant = std::string("text");
    add("variant", "text", std::get<std::string>(variant));

    std::weak_ptr<int> weak;
    {
        const auto strong = std::make_shared<int>(9);
        weak = strong;
    }
    add("weak_ptr", "1", std::to_string(weak.expired()));

    add("stoi, stod", "255 150.000000",
        std::to_string(std::stoi("ff", nullptr, 16)) + ' ' + std::to_string(std::stod("1.5e2")));
    char digits[32];
    add("to_chars", "0.1", std::string(digits, std::to_chars(digits, digits + sizeof digits, 0.1).ptr));
    add("cmath", "3 8 1",
        std::to_string(static_cast<int>(std::sqrt(9.0))) + ' ' + std::to_string(static_cast<int>(std::pow(2.0, 3.0))) +
            ' ' + std::to_string(std::isnan(std::nan(""))));

    char text[64];
    std::snprintf(text, sizeof text, "%llu|%.2f|%zu|%s", 1ull << 40, 2.5, sizeof(long), "s");
    add("snprintf", "1099511627776|2.50|4|s", text);
    add("snprintf measures", "5", std::to_string(std::snprintf(nullptr, 0, "%d", 12345)));
    char small[4] = "zzz";
    const int needed = std::snprintf(small, sizeof small, "%d", 12345);
    add("snprintf truncates", "5 123", std::to_string(needed) + ' ' + small);
    wchar_t wideText[16];
    add("swprintf", "1",
        std::to_string(std::swprintf(wideText, 16, L"%ls-%d", L"w", 7) == 3 && !std::wcscmp(wideText, L"w-7")));
    int scanned = 0;
    const int fields = std::sscanf("x77", "x%d", &scanned);
    add("sscanf", "1 77", std::to_string(fields) + ' ' + std::to_string(scanned));
}

}  // namespace selftest
