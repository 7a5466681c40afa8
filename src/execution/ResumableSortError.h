#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// Failures of a sort run the user sees. The file name is the last path component of the source.
class ResumableSortError : public ErrorBase<ResumableSortError> {
public:
    enum class Kind { sourceChanged, verificationFailed, operationAlreadyRunning };

    static ResumableSortError sourceChanged(QString fileName) { return {Kind::sourceChanged, std::move(fileName)}; }
    static ResumableSortError verificationFailed(QString fileName) { return {Kind::verificationFailed, std::move(fileName)}; }
    static ResumableSortError operationAlreadyRunning() { return {Kind::operationAlreadyRunning, {}}; }

    Kind kind() const { return kind_; }
    const QString& fileName() const { return fileName_; }
    QString description() const override;

private:
    ResumableSortError(Kind kind, QString fileName) : kind_(kind), fileName_(std::move(fileName)) {}
    Kind kind_;
    QString fileName_;
};

} // namespace kestrava
