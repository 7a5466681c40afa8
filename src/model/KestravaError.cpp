#include "KestravaError.h"

namespace kestrava {

const char* KestravaError::what() const noexcept
{
    try {
        whatCache_ = description().toUtf8();
    } catch (...) {
        return "KestravaError";
    }
    return whatCache_.constData();
}

QString DecodingError::description() const
{
    return QStringLiteral("Die Daten konnten nicht gelesen werden (%1).").arg(detail_);
}

} // namespace kestrava
