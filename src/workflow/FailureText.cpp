#include "FailureText.h"

namespace kestrava {

QString failureText(const QException& failure)
{
    if (const auto* error = dynamic_cast<const KestravaError*>(&failure))
        return error->description();
    return unknownFailureText();
}

QString sessionNotSavedPrefix()
{
    return QStringLiteral("Sitzung konnte nicht gespeichert werden: ");
}

QString unknownFailureText()
{
    return QStringLiteral("Unbekannter Fehler.");
}

} // namespace kestrava
