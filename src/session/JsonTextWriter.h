#pragma once

// Writes compact JSON text straight into bytes, for the documents that are too large to build
// as QJsonObject first (a snapshot of 20,000 photos). The output is byte for byte what
// QJsonDocument::toJson(Compact) writes for the same values, as long as callers give object
// keys in Qt's order (ascending UTF-16); the session tests compare both paths.

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <vector>

namespace kestrava {

class JsonTextWriter {
public:
    explicit JsonTextWriter(qsizetype reserveBytes = 0);

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // Starts a member of the current object; the value call follows.
    void key(QLatin1StringView name);
    void key(QStringView name);

    void string(QStringView text);
    void integer(qint64 number);
    void boolean(bool value);
    // json::encodeDate's text, without its formatter round trip for ordinary years.
    void date(const QDateTime& date);
    void object(const QJsonObject& object);

    QByteArray take() { return std::move(out_); }
    // Bytes written since the last take(); a streaming caller hands them on in chunks.
    qsizetype pendingBytes() const { return out_.size(); }

private:
    void separate();
    void quoted(QStringView text);

    QByteArray out_;
    // Per open container: whether a value has been written at that level yet.
    std::vector<bool> hasValue_;
    bool afterKey_ = false;
};

struct PhotoItem;
// One photo as the session document codes it (the same text as toJson(photo), compact).
void writePhotoJson(JsonTextWriter& writer, const PhotoItem& photo);

} // namespace kestrava
