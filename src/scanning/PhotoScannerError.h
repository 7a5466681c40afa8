#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// The scanner's one failure: the chosen folder itself cannot be enumerated (missing, not a
// folder, no permission). Problems below the folder never fail a scan.
class PhotoScannerError : public ErrorBase<PhotoScannerError> {
public:
    enum class Kind { folderUnavailable };

    static PhotoScannerError folderUnavailable(QString folderPath, int errorNumber = 0);

    Kind kind() const { return kind_; }
    const QString& folderPath() const { return folderPath_; }
    // The errno that made the folder unavailable, 0 when not from a system call.
    int errorNumber() const { return errorNumber_; }
    QString description() const override;

private:
    PhotoScannerError(Kind kind, QString folderPath, int errorNumber)
        : kind_(kind), folderPath_(std::move(folderPath)), errorNumber_(errorNumber) {}

    Kind kind_;
    QString folderPath_;
    int errorNumber_ = 0;
};

} // namespace kestrava

namespace kestrava {

// The note shown wherever a scan left entries out (names that are not valid UTF-8, sub-folders
// that could not be read): those files are not part of the sort and stay in the source folder.
// Empty when `skippedEntryCount` is 0.
QString skippedEntriesNote(int skippedEntryCount);

} // namespace kestrava
