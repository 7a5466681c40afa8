#pragma once

#include <QStringList>

// Each pass of a verified copy alone, on the same disk and files, for the floor it sets:
// reading the sources, writing and flushing the copies, reading the copies back, hashing.
void reportSinglePasses(const QStringList& sources, const QString& scratchFolder);
