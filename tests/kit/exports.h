// SPDX-License-Identifier: Apache-2.0
// Every export of the list, callable with arguments known at run time only.
#pragma once

#include "qolsc.h"

#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace qolsc::test {

/// One argument: a pointer, an integer or a float; the callee's type picks the field.
struct Argument {
    void* pointer = nullptr;
    std::int64_t integer = 0;
    double real = 0;
};

enum class ArgumentKind : std::uint8_t { pointer, integer, real };

struct Export {
    std::string_view name;
    std::vector<ArgumentKind> kinds;
    QolStatus (*call)(const Argument* arguments); ///< null for the version query
};

/// All exports, in the order of the list.
std::span<const Export> allExports();
/// The export of that name, or null.
const Export* findExport(std::string_view name);

template <typename T>
constexpr ArgumentKind kindOf() {
    return std::is_pointer_v<T>          ? ArgumentKind::pointer
           : std::is_floating_point_v<T> ? ArgumentKind::real
                                         : ArgumentKind::integer;
}

template <typename T>
T as(const Argument& a) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(a.pointer);
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(a.real);
    } else {
        return static_cast<T>(a.integer);
    }
}

template <auto Function>
struct Caller;

template <typename... A, QolStatus (*Function)(A...) noexcept>
struct Caller<Function> {
    static QolStatus call(const Argument* arguments) {
        return [&]<std::size_t... I>(std::index_sequence<I...>) {
            return Function(as<A>(arguments[I])...);
        }
        (std::index_sequence_for<A...>{});
    }
    static std::vector<ArgumentKind> kinds() { return {kindOf<A>()...}; }
};

template <const QolLibraryVersion* (*Function)() noexcept>
struct Caller<Function> {
    static constexpr QolStatus (*call)(const Argument*) = nullptr;
    static std::vector<ArgumentKind> kinds() { return {}; }
};

} // namespace qolsc::test
