#include "RecoveryCsv.h"

#include "SessionStoreError.h"

#include <QHash>
#include <QStringDecoder>

namespace kestrava::RecoveryCSVImporter {

using namespace Qt::StringLiterals;

QList<QStringList> parseRecords(const QString& text)
{
    QList<QStringList> records;
    QStringList record;
    QString field;
    bool quoted = false;
    // Tells an empty line (skipped) from a record whose only field is empty but quoted.
    bool recordHasContent = false;

    const auto endRecord = [&] {
        if (recordHasContent || !record.isEmpty()) {
            record.append(field);
            records.append(record);
        }
        record.clear();
        field.clear();
        recordHasContent = false;
    };

    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const QChar c = text.at(i);
        if (quoted) {
            if (c == u'"') {
                if (i + 1 < size && text.at(i + 1) == u'"') {
                    field.append(u'"');
                    ++i;
                } else {
                    quoted = false;
                }
            } else {
                field.append(c);
            }
            continue;
        }
        if (c == u'"') {
            quoted = true;
            recordHasContent = true;
        } else if (c == u',') {
            record.append(field);
            field.clear();
        } else if (c == u'\n' || c == u'\r') {
            if (c == u'\r' && i + 1 < size && text.at(i + 1) == u'\n')
                ++i;
            endRecord();
        } else {
            field.append(c);
            recordHasContent = true;
        }
    }
    endRecord();
    return records;
}

std::optional<PhotoDecision> decisionFromText(const QString& value)
{
    const QString lowered = value.normalized(QString::NormalizationForm_C).toLower();
    if (lowered.contains(u"aussort"_s))
        return PhotoDecision::del;
    if (lowered.contains(u"vielleicht"_s))
        return PhotoDecision::maybe;
    if (lowered.contains(u"prüfen"_s))
        return PhotoDecision::maybe;
    if (lowered.contains(u"behalten"_s))
        return PhotoDecision::keep;
    return std::nullopt;
}

QList<RecoveryCSVRow> parse(const QByteArray& data)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(data);
    if (decoder.hasError())
        throw SessionStoreError::csvInvalid(u"Die Datei ist nicht UTF-8-codiert."_s);
    // Spreadsheet programs like to start UTF-8 files with a byte-order mark.
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);

    const QList<QStringList> records = parseRecords(text);
    if (records.isEmpty())
        throw SessionStoreError::csvHeaderMissing();

    QHash<QString, qsizetype> columns;
    const QStringList& header = records.first();
    for (qsizetype i = 0; i < header.size(); ++i) {
        const QString name = header[i].trimmed().toLower();
        if (!columns.contains(name))
            columns.insert(name, i);
    }
    const auto column = [&](const QString& name) { return columns.value(name, -1); };
    const qsizetype fileColumn = column(u"datei"_s);
    const qsizetype formatColumn = column(u"format"_s);
    const qsizetype decisionColumn = column(u"entscheidung"_s);
    const qsizetype statusColumn = column(u"kopierstatus"_s);
    const qsizetype evidenceColumn = column(u"nachweis"_s);
    const qsizetype relativeColumn = column(u"relativer pfad"_s);
    const qsizetype required[] = {fileColumn, formatColumn, decisionColumn, statusColumn, evidenceColumn};
    qsizetype lastRequired = -1;
    for (qsizetype index : required) {
        if (index < 0)
            throw SessionStoreError::csvHeaderMissing();
        lastRequired = std::max(lastRequired, index);
    }

    QList<RecoveryCSVRow> rows;
    rows.reserve(records.size() - 1);
    for (qsizetype r = 1; r < records.size(); ++r) {
        const QStringList& fields = records[r];
        if (fields.size() <= lastRequired)
            throw SessionStoreError::csvInvalid(u"Eine Zeile enthält zu wenige Spalten."_s);
        RecoveryCSVRow row;
        row.filename = fields[fileColumn];
        row.format = fields[formatColumn].compare(u"raw"_s, Qt::CaseInsensitive) == 0 ? PhotoFormatGroup::raw
                                                                                    : PhotoFormatGroup::jpeg;
        const QString& decision = fields[decisionColumn];
        if (auto parsed = decisionFromText(decision))
            row.decision = *parsed;
        else
            throw SessionStoreError::csvInvalid(u"Unbekannte Entscheidung: "_s + decision);
        row.copyStatus = fields[statusColumn];
        row.evidence = fields[evidenceColumn];
        if (relativeColumn >= 0 && relativeColumn < fields.size())
            row.relativePath = fields[relativeColumn];
        rows.append(std::move(row));
    }
    return rows;
}

} // namespace kestrava::RecoveryCSVImporter
