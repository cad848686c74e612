// Which types the coder knows without the type's own help. Internal to the coder.
#pragma once

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvex::coding {

template <typename T>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <typename T>
inline constexpr bool isList = false;
template <typename T>
inline constexpr bool isList<std::vector<T>> = true;

template <typename T>
inline constexpr bool isMap = false;
template <typename T, typename Less>
inline constexpr bool isMap<std::map<std::string, T, Less>> = true;

template <typename T>
inline constexpr bool isCharacter =
    std::same_as<T, char> || std::same_as<T, char8_t> || std::same_as<T, char16_t> ||
    std::same_as<T, char32_t> || std::same_as<T, wchar_t>;

template <typename T>
concept Integer = std::integral<T> && !std::same_as<T, bool> && !isCharacter<T>;

}  // namespace tarvex::coding
