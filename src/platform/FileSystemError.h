#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// A failed file operation, with the path and what the system said (errno), so the message
// can tell the user why: "„/x/y“ konnte nicht geschrieben werden: Auf dem Gerät ist kein Speicherplatz mehr verfügbar".
class FileSystemError : public ErrorBase<FileSystemError> {
public:
    enum class Operation { open, read, write, flush, close, rename, link, remove, createFolder, inspect, resize, create };

    FileSystemError(Operation operation, QString path, int errorNumber);

    Operation operation() const { return operation_; }
    const QString& path() const { return path_; }
    int errorNumber() const { return errorNumber_; }
    // The system's own words for errno, in German where the C library has them.
    QString reason() const;
    QString description() const override;

private:
    Operation operation_;
    QString path_;
    int errorNumber_;
};

} // namespace kestrava
