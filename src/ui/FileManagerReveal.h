#pragma once

// Shows a file or folder in the desktop's file manager, selected: asks
// org.freedesktop.FileManager1.ShowItems over D-Bus, and when no file manager answers, opens
// the parent folder with the desktop's default handler instead. When neither answers, the
// user is told where the item lies, so they can go there by hand. Never blocks the GUI thread.

#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>

namespace kestrava::FileManagerReveal {

// Opens a URL with the desktop's handler; false when no handler or launcher could be started.
using Opener = std::function<bool(const QUrl&)>;
// Receives the German message for the user.
using FailureHandler = std::function<void(const QString& message)>;

// The folder the fallback opens: the parent of a file, the folder itself for a folder.
QUrl fallbackUrl(const QString& path);

// The messages when nothing on the desktop answered.
QString revealFailedText(const QString& path);
QString openFailedText(const QString& path);

// `opener` defaults to QDesktopServices::openUrl.
void reveal(const QString& path, QObject* context, FailureHandler failed, Opener opener = {});
void open(const QString& path, FailureHandler failed, Opener opener = {});

} // namespace kestrava::FileManagerReveal
