#pragma once

// Shoots on disk, isolated environments and result checks for the command-line tests.

#include "TestSupport.h"

#include <QJsonObject>
#include <QMap>
#include <QProcessEnvironment>

namespace kestrava::test {

// Files with unique contents below `folder`: `pairs` JPEG+RAW shots and `singles` lone JPEGs,
// a few kilobytes each. Keyed by SHA-256 digest, valued by path relative to `folder`.
using ShootDigests = QMap<QByteArray, QString>;
ShootDigests writeShoot(const QString& folder, int pairs, int singles, quint32 seed = 7, int maxBytes = 16 * 1024);

// The SHA-256 of every file below `root`, sorted (a multiset: duplicates stay).
QList<QByteArray> digestsBelow(const QString& root);

// The system environment with every XDG folder (data, state, config, cache) and HOME inside
// `root`, so sessions, journals and the Trash never touch the real home.
QProcessEnvironment isolatedEnvironment(const QString& root);

// The last JSON object line on standard output (empty object when there is none).
QJsonObject lastJson(const QByteArray& out);

// The arguments of a sort of `source` into `base`/Lauf with the store `store`.
QStringList sortArguments(const QString& source, const QString& base, const QString& store, const QString& mode,
                          const QString& verify = QStringLiteral("fileSize"));

// The path without its extension: a photo and its sidecar share it.
QString stemOf(const QString& path);
bool isSidecar(const QString& path);

} // namespace kestrava::test
