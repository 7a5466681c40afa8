#pragma once

#include <QString>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace kestrava {

// Each persisted enum specialises EnumNames with its cases in declaration order and their
// raw values. One table per enum serves encoding, decoding and iteration.
template <class E>
struct EnumNames;

template <class E>
constexpr auto allCases()
{
    std::array<E, EnumNames<E>::table.size()> out{};
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] = EnumNames<E>::table[i].first;
    return out;
}

template <class E>
QString rawValue(E value)
{
    for (const auto& [e, name] : EnumNames<E>::table)
        if (e == value)
            return QString::fromUtf8(name.data(), qsizetype(name.size()));
    return {};
}

template <class E>
std::optional<E> enumFromRaw(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    const std::string_view wanted(utf8.constData(), std::size_t(utf8.size()));
    for (const auto& [e, name] : EnumNames<E>::table)
        if (name == wanted)
            return e;
    return std::nullopt;
}

} // namespace kestrava
