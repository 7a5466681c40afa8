#pragma once

#include "platform/FileSystemError.h"

#include <QDir>
#include <QStringList>

#include <gtest/gtest.h>

namespace kestrava::test {

template <class Call>
FileSystemError fileErrorThrownBy(Call call)
{
    try {
        call();
    } catch (const FileSystemError& error) {
        return error;
    }
    ADD_FAILURE() << "no FileSystemError thrown";
    return FileSystemError(FileSystemError::Operation::open, QString(), 0);
}

// Every name in a folder, hidden ones included.
inline QStringList allNames(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace kestrava::test
