#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// Everything the session store, the session document decoder and the recovery import can
// report to the user. Failures of the file system itself arrive as FileSystemError instead.
class SessionStoreError : public ErrorBase<SessionStoreError> {
public:
    enum class Kind {
        unsupportedVersion,   // payload: the document's version
        csvInvalid,           // payload: detail text
        sourceFolderMissing,  // payload: folder path
        corruptSession,
        csvHeaderMissing,
        ambiguousRecoveryRow, // payload: the row's file name
        sessionInUse,         // payload: the session's lock file
    };

    static SessionStoreError unsupportedVersion(qint64 version);
    static SessionStoreError csvInvalid(QString detail);
    static SessionStoreError sourceFolderMissing(QString path);
    // `diagnostic` says what was wrong for logs and tests; it never reaches the message.
    static SessionStoreError corruptSession(QString diagnostic = {});
    static SessionStoreError csvHeaderMissing();
    // A recovery row that fits more than one scanned file.
    static SessionStoreError ambiguousRecoveryRow(QString fileName);
    // Another window or command writes the session at this moment.
    static SessionStoreError sessionInUse(QString lockPath);

    Kind kind() const { return kind_; }
    qint64 version() const { return version_; }
    // The detail text, path or file name of the cases that carry one.
    const QString& text() const { return text_; }
    const QString& diagnostic() const { return diagnostic_; }
    QString description() const override;

private:
    explicit SessionStoreError(Kind kind, QString text = {}) : kind_(kind), text_(std::move(text)) {}
    Kind kind_;
    qint64 version_ = 0;
    QString text_;
    QString diagnostic_;
};

} // namespace kestrava
