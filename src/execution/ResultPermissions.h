#pragma once

// What the results of a run look like to everyone else: they belong to the user like any file
// the user makes, so other accounts, a media server or a share can read them as the user's
// umask allows. Only the hidden temporary copy stays private until it is complete.

#include "platform/FileOps.h"

#include <QString>
#include <sys/types.h>

namespace kestrava::ResumableSortExecutor {

// The process's file-creation mask (read without changing it, so other threads never see a
// different one).
mode_t currentUmask();

// 0666 & ~umask: what a file the user creates gets.
mode_t userFileMode();

// Creates the folder and missing parents as the user's own folders would be (0777 & ~umask),
// each new one made durable in its parent; an existing folder (or link to one) is fine.
// Throws FileSystemError.
void ensureResultFolder(const QString& path, FileOps& ops = FileOps::system());

// Puts the hidden, empty run-folder marker into `runFolder` unless it is there; durable.
void ensureRunFolderMarker(const QString& runFolder, FileOps& ops = FileOps::system());

} // namespace kestrava::ResumableSortExecutor
