#pragma once

// Shows a file or folder in the desktop's file manager, selected: asks
// org.freedesktop.FileManager1.ShowItems over D-Bus, and when no file manager answers, opens
// the parent folder with the desktop's default handler instead. Never blocks the GUI thread.

#include <QObject>
#include <QString>
#include <QUrl>

namespace kestrava::FileManagerReveal {

// The folder the fallback opens: the parent of a file, the folder itself for a folder.
QUrl fallbackUrl(const QString& path);

void reveal(const QString& path, QObject* context);

} // namespace kestrava::FileManagerReveal
