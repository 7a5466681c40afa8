#include "SortOptions.h"

namespace kestrava {

using namespace Qt::StringLiterals;

QString operationModeTitle(SortOperationMode mode)
{
    switch (mode) {
    case SortOperationMode::safeCopy:
        return u"Sicher kopieren"_s;
    case SortOperationMode::moveOriginals:
        return u"Originale verschieben"_s;
    case SortOperationMode::organizeAndTrash:
        return u"Aufräumen & Papierkorb"_s;
    }
    return {};
}

QString operationModeDescription(SortOperationMode mode)
{
    switch (mode) {
    case SortOperationMode::safeCopy:
        return u"Alle bewerteten Dateien werden kopiert. Die Originale bleiben vollständig unverändert."_s;
    case SortOperationMode::moveOriginals:
        return u"Behalten, Vielleicht und Aussortiert werden geprüft und in den Ergebnisordner verschoben."_s;
    case SortOperationMode::organizeAndTrash:
        return u"Behalten und Vielleicht werden verschoben. Aussortierte kommen erst nach erfolgreicher Organisation in den Papierkorb."_s;
    }
    return {};
}

QString verificationModeLabel(VerificationMode mode)
{
    return mode == VerificationMode::fileSize ? u"Dateigröße (schnell)"_s : u"SHA-256 (gründlich, langsamer)"_s;
}

QString groupByDateLabel()
{
    return u"Nach Aufnahmedatum strukturieren"_s;
}

QString ratingSidecarsLabel()
{
    return u"Bewertungen in XMP-Begleitdateien schreiben"_s;
}

QString keepRatingStarsLabel()
{
    return u"Sterne für Behalten"_s;
}

QJsonObject toJson(const SortOptions& options)
{
    QJsonObject o;
    o.insert("destinationRoot"_L1, options.destinationRoot.toUrlString());
    o.insert("eventName"_L1, options.eventName);
    o.insert("groupByDate"_L1, options.groupByDate);
    o.insert("operationMode"_L1, rawValue(options.operationMode));
    o.insert("verificationMode"_L1, rawValue(options.verificationMode));
    o.insert("writeRatingSidecars"_L1, options.writeRatingSidecars);
    o.insert("keepRatingStars"_L1, options.keepRatingStars);
    return o;
}

SortOptions sortOptionsFromJson(const QJsonObject& o)
{
    SortOptions options;
    options.destinationRoot = json::requireUrl(o, "destinationRoot"_L1);
    options.eventName = json::requireString(o, "eventName"_L1);
    options.groupByDate = json::requireBool(o, "groupByDate"_L1);
    options.operationMode = json::requireEnum<SortOperationMode>(o, "operationMode"_L1);
    options.verificationMode = json::requireEnum<VerificationMode>(o, "verificationMode"_L1);
    options.writeRatingSidecars = json::optionalBool(o, "writeRatingSidecars"_L1).value_or(false);
    const qint64 stars = json::optionalInt(o, "keepRatingStars"_L1).value_or(1);
    if (stars < minimumKeepRatingStars || stars > maximumKeepRatingStars)
        throw DecodingError(u"keepRatingStars: %1 liegt nicht zwischen 1 und 5"_s.arg(stars));
    options.keepRatingStars = int(stars);
    return options;
}

} // namespace kestrava
