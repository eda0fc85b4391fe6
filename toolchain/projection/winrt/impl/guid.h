#pragma once

/// Interface and object identifiers.

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace winrt {
/// Has the layout of the system's GUID. Parsing expects the bare 36-character form. A malformed literal does not
/// compile; a malformed text at run time throws std::invalid_argument.
struct guid {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];

    guid() noexcept = default;

    constexpr guid(uint32_t data1, uint16_t data2, uint16_t data3, const std::array<uint8_t, 8>& data4) noexcept
        : Data1(data1), Data2(data2), Data3(data3), Data4{data4[0], data4[1], data4[2], data4[3],
                                                          data4[4], data4[5], data4[6], data4[7]} {}

    explicit constexpr guid(std::string_view text) : guid(parse(text)) {}

    friend constexpr bool operator==(const guid& left, const guid& right) noexcept = default;
    friend constexpr auto operator<=>(const guid& left, const guid& right) noexcept = default;

private:
    static constexpr uint32_t digit(char c) {
        if (c >= '0' && c <= '9') {
            return static_cast<uint32_t>(c - '0');
        }
        if (c >= 'a' && c <= 'f') {
            return static_cast<uint32_t>(c - 'a' + 10);
        }
        if (c >= 'A' && c <= 'F') {
            return static_cast<uint32_t>(c - 'A' + 10);
        }
        throw std::invalid_argument("a guid holds hexadecimal digits and four hyphens");
    }

    static constexpr uint32_t number(std::string_view text, std::size_t first, std::size_t digits) {
        uint32_t value = 0;
        for (std::size_t i = first; i != first + digits; ++i) {
            value = value << 4 | digit(text[i]);
        }
        return value;
    }

    static constexpr guid parse(std::string_view text) {
        if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
            throw std::invalid_argument("a guid holds hexadecimal digits and four hyphens");
        }
        std::array<uint8_t, 8> tail{};
        constexpr std::size_t places[] = {19, 21, 24, 26, 28, 30, 32, 34};
        for (std::size_t i = 0; i != tail.size(); ++i) {
            tail[i] = static_cast<uint8_t>(number(text, places[i], 2));
        }
        return {number(text, 0, 8), static_cast<uint16_t>(number(text, 9, 4)),
                static_cast<uint16_t>(number(text, 14, 4)), tail};
    }
};

namespace impl {
/// The identifier of an interface, of a class's default interface, or of a delegate. Specialised next to each of them.
template <typename T>
inline constexpr guid guid_v = T::no_identifier_is_known_for_this_type;
}  // namespace impl

template <typename T>
constexpr const guid& guid_of() noexcept {
    return impl::guid_v<T>;
}
}  // namespace winrt
