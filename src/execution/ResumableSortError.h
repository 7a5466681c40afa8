#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// Failures of a sort run the user sees. The file name is the last path component of the source;
// folder names are the folder's last path component.
class ResumableSortError : public ErrorBase<ResumableSortError> {
public:
    enum class Kind {
        sourceChanged,
        verificationFailed,
        operationAlreadyRunning,
        sourceFolderInUse,     // another run holds the source folder
        sourceReadOnly,        // a move from a write-protected folder, refused before anything is copied
        resultReadOnly,        // the result folder's file system refuses writing; nothing was touched
        originalNotRemoved,    // the copy is verified and stays; the original could not be removed
        destinationFull,       // the run stopped at the first file the destination had no room for
        // Rating sidecars (the file name is the sidecar's in the result folder):
        ratingNotWritten,        // the file system refused; the next run tries again
        ratingSidecarTaken,      // a file that is not the photo's sidecar has the name; left as it is
        ratingSidecarUnreadable, // the sidecar that travelled with the photo is no XMP; left as it is
        ratingWaitsForPhoto,     // the photo (or its own sidecar) did not reach the result folder
    };

    static ResumableSortError sourceChanged(QString fileName) { return {Kind::sourceChanged, std::move(fileName)}; }
    static ResumableSortError verificationFailed(QString fileName) { return {Kind::verificationFailed, std::move(fileName)}; }
    static ResumableSortError operationAlreadyRunning() { return {Kind::operationAlreadyRunning, {}}; }
    static ResumableSortError sourceFolderInUse(QString folderName) { return {Kind::sourceFolderInUse, std::move(folderName)}; }
    static ResumableSortError sourceReadOnly(QString folderName) { return {Kind::sourceReadOnly, std::move(folderName)}; }
    static ResumableSortError resultReadOnly(QString folderName) { return {Kind::resultReadOnly, std::move(folderName)}; }
    // `reason`: the file system's own German explanation.
    static ResumableSortError originalNotRemoved(QString fileName, QString reason)
    {
        return {Kind::originalNotRemoved, std::move(fileName), std::move(reason)};
    }
    static ResumableSortError destinationFull() { return {Kind::destinationFull, {}}; }
    static ResumableSortError ratingNotWritten(QString fileName, QString reason)
    {
        return {Kind::ratingNotWritten, std::move(fileName), std::move(reason)};
    }
    static ResumableSortError ratingSidecarTaken(QString fileName) { return {Kind::ratingSidecarTaken, std::move(fileName)}; }
    static ResumableSortError ratingSidecarUnreadable(QString fileName)
    {
        return {Kind::ratingSidecarUnreadable, std::move(fileName)};
    }
    static ResumableSortError ratingWaitsForPhoto(QString fileName) { return {Kind::ratingWaitsForPhoto, std::move(fileName)}; }

    Kind kind() const { return kind_; }
    const QString& fileName() const { return fileName_; }
    QString description() const override;

private:
    ResumableSortError(Kind kind, QString fileName, QString reason = {})
        : kind_(kind), fileName_(std::move(fileName)), reason_(std::move(reason)) {}
    Kind kind_;
    QString fileName_;
    QString reason_;
};

} // namespace kestrava
