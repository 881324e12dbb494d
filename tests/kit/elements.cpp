// SPDX-License-Identifier: Apache-2.0
// Reading and writing of scalars by their type's name.
#include "kit/elements.h"

#include <cstring>

namespace qolsc::test {

Element elementOf(const std::string& type) {
    const bool pair = type.back() == 'c';
    const char sign = pair ? type[type.size() - 2] : type.back();
    return {sign == 'f'   ? 'f'
            : sign == 'u' ? 'u'
                          : 'i',
            static_cast<std::size_t>(std::stoi(type)) / 8, pair ? 2u : 1u};
}

std::size_t elementBytes(const std::string& type) {
    const Element e = elementOf(type);
    return e.width * e.parts;
}

namespace {
template <typename T>
double load(const std::uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<double>(v);
}
template <typename T>
void append(Bytes& out, T v) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(&v);
    out.insert(out.end(), p, p + sizeof v);
}
} // namespace

double number(const Element& e, const std::uint8_t* p) {
    if (e.kind == 'f') {
        return e.width == 4 ? load<float>(p) : load<double>(p);
    }
    const bool u = e.kind == 'u';
    switch (e.width) {
    case 1:
        return u ? load<std::uint8_t>(p) : load<std::int8_t>(p);
    case 2:
        return u ? load<std::uint16_t>(p) : load<std::int16_t>(p);
    case 4:
        return u ? load<std::uint32_t>(p) : load<std::int32_t>(p);
    default:
        return u ? load<std::uint64_t>(p) : load<std::int64_t>(p);
    }
}

Bytes encodeValues(const std::string& type, const nlohmann::json& values) {
    const Element e = elementOf(type);
    Bytes out;
    for (const nlohmann::json& v : values) {
        if (e.kind == 'f' && e.width == 4) {
            append(out, v.get<float>());
        } else if (e.kind == 'f') {
            append(out, v.get<double>());
        } else {
            const auto x = v.get<std::int64_t>(); // little-endian: the low bytes
            const auto* p = reinterpret_cast<const std::uint8_t*>(&x);
            out.insert(out.end(), p, p + e.width);
        }
    }
    return out;
}

} // namespace qolsc::test
