#include "FileSystemError.h"

#include <cerrno>
#include <clocale>
#include <cstring>
#include <locale.h>

namespace kestrava {

namespace {

// The German wording of glibc's own catalogue for the errors a photographer actually meets.
// Debian desktops often lack a compiled de_DE locale, in which case strerror would answer in
// English although the rest of the message is German; these texts keep the message in one language.
const char* germanReason(int errorNumber)
{
    switch (errorNumber) {
    case ENOSPC: return "Auf dem Gerät ist kein Speicherplatz mehr verfügbar";
    case EDQUOT: return "Der zugewiesene Plattenplatz (Quota) ist überschritten";
    case EIO: return "Eingabe-/Ausgabefehler";
    case EACCES: return "Keine Berechtigung";
    case EPERM: return "Die Operation ist nicht erlaubt";
    case ENOENT: return "Datei oder Verzeichnis nicht gefunden";
    case EEXIST: return "Die Datei existiert bereits";
    case EROFS: return "Das Dateisystem ist nur lesbar";
    case ENOTDIR: return "Ist kein Verzeichnis";
    case EISDIR: return "Ist ein Verzeichnis";
    case ELOOP: return "Zu viele Ebenen aus symbolischen Links";
    case ENAMETOOLONG: return "Der Dateiname ist zu lang";
    case EXDEV: return "Ungültiger Link über Gerätegrenzen hinweg";
    case EINVAL: return "Das Argument ist ungültig";
    case EBUSY: return "Das Gerät oder die Ressource ist belegt";
    case ENOTEMPTY: return "Das Verzeichnis ist nicht leer";
    case EMFILE: return "Zu viele offene Dateien";
    case ENFILE: return "Zu viele offene Dateien im System";
    case ENOMEM: return "Nicht genügend Hauptspeicher verfügbar";
    case EFBIG: return "Die Datei ist zu groß";
    case ENODEV: return "Kein passendes Gerät gefunden";
    case ENXIO: return "Kein passendes Gerät bzw. keine passende Adresse gefunden";
    case ESTALE: return "Veraltete Dateizugriffsnummer (file handle)";
    case ETIMEDOUT: return "Die Wartezeit für die Verbindung ist abgelaufen";
    case EINTR: return "Unterbrechung während des Betriebssystemaufrufs";
    case EAGAIN: return "Die Ressource ist zur Zeit nicht verfügbar";
    case EBADF: return "Ungültiger Dateideskriptor";
    case EOPNOTSUPP: return "Die Operation wird nicht unterstützt";
    case ENOTCONN: return "Der Socket ist nicht verbunden";
    case EMLINK: return "Zu viele Links";
    case ENOSYS: return "Die angeforderte Funktion ist nicht implementiert";
    case EHOSTDOWN: return "Der Rechner ist nicht aktiv";
    case ECONNRESET: return "Die Verbindung wurde vom Kommunikationspartner zurückgesetzt";
    default: return nullptr;
    }
}

// strerror_l with a locale object of our own: thread-safe, and independent of whatever
// locale the application set for LC_MESSAGES.
QString systemReason(int errorNumber)
{
    static const locale_t german = [] {
        for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE"}) {
            if (locale_t l = newlocale(LC_MESSAGES_MASK, name, locale_t(nullptr)))
                return l;
        }
        return newlocale(LC_MESSAGES_MASK, "C", locale_t(nullptr));
    }();
    if (german != locale_t(nullptr))
        return QString::fromLocal8Bit(strerror_l(errorNumber, german));
    return QStringLiteral("Fehler %1").arg(errorNumber);
}

QString participle(FileSystemError::Operation operation)
{
    using Op = FileSystemError::Operation;
    switch (operation) {
    case Op::open: return QStringLiteral("geöffnet");
    case Op::read: return QStringLiteral("gelesen");
    case Op::write: return QStringLiteral("geschrieben");
    case Op::flush: return QStringLiteral("auf den Datenträger geschrieben");
    case Op::close: return QStringLiteral("geschlossen");
    case Op::rename: return QStringLiteral("umbenannt");
    case Op::link: return QStringLiteral("verknüpft");
    case Op::remove: return QStringLiteral("entfernt");
    case Op::createFolder: return QStringLiteral("angelegt");
    case Op::inspect: return QStringLiteral("geprüft");
    case Op::resize: return QStringLiteral("in der Größe angepasst");
    case Op::create: return QStringLiteral("angelegt");
    }
    return QStringLiteral("bearbeitet");
}

} // namespace

FileSystemError::FileSystemError(Operation operation, QString path, int errorNumber)
    : operation_(operation), path_(std::move(path)), errorNumber_(errorNumber)
{
}

QString FileSystemError::reason() const
{
    if (const char* text = germanReason(errorNumber_))
        return QString::fromUtf8(text);
    return systemReason(errorNumber_);
}

QString FileSystemError::description() const
{
    return QStringLiteral("„%1“ konnte nicht %2 werden: %3").arg(path_, participle(operation_), reason());
}

} // namespace kestrava
