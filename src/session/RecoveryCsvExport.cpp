#include "RecoveryCsv.h"

namespace kestrava {

using namespace Qt::StringLiterals;

namespace {

QString quoted(const QString& field)
{
    // Leading or trailing blanks are quoted too, so no spreadsheet program trims them away.
    const bool needsQuotes = field.contains(u',') || field.contains(u'"') || field.contains(u'\n')
        || field.contains(u'\r') || (!field.isEmpty() && (field.front().isSpace() || field.back().isSpace()));
    if (!needsQuotes)
        return field;
    QString escaped = field;
    escaped.replace(u"\""_s, u"\"\""_s);
    return u'"' + escaped + u'"';
}

QString formatLabel(PhotoFormatGroup format)
{
    switch (format) {
    case PhotoFormatGroup::raw:
        return u"RAW"_s;
    case PhotoFormatGroup::jpeg:
        return u"JPEG"_s;
    case PhotoFormatGroup::other:
        break;
    }
    return u"Andere"_s;
}

QString statusLabel(const ExecutionRecord& record)
{
    switch (record.status) {
    case ExecutionActionStatus::pending:
        return u"ausstehend"_s;
    case ExecutionActionStatus::completed:
        return u"abgeschlossen"_s;
    case ExecutionActionStatus::skipped:
        return u"übersprungen"_s;
    case ExecutionActionStatus::failed:
        return record.errorMessage ? u"fehlgeschlagen: "_s + *record.errorMessage : u"fehlgeschlagen"_s;
    }
    return {};
}

} // namespace

QByteArray exportDecisionsCsv(const SortSession& session)
{
    QString text = u"Datei,Format,Entscheidung,Kopierstatus,Nachweis,Relativer Pfad\r\n"_s;
    const auto write = [&](const PhotoItem& photo) {
        if (!photo.decision)
            return;
        QString status = u"nicht ausgeführt"_s;
        QString evidence;
        const auto record = session.executionRecords.constFind(photo.sourceURL.path());
        if (record != session.executionRecords.constEnd()) {
            status = statusLabel(*record);
            if (record->status == ExecutionActionStatus::completed)
                evidence = record->destinationPath.value_or(QString());
        }
        const QString fields[] = {photo.sourceURL.fileName(), formatLabel(photo.formatGroup), decisionLabel(*photo.decision),
                                  status, evidence, photo.relativePath};
        for (int i = 0; i < 6; ++i) {
            if (i > 0)
                text += u',';
            text += quoted(fields[i]);
        }
        text += u"\r\n"_s;
    };
    for (const PhotoItem& photo : session.photos)
        write(photo);
    for (const PhotoItem& photo : session.passThroughPhotos)
        write(photo);
    return text.toUtf8();
}

} // namespace kestrava
