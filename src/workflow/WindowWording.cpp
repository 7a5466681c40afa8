#include "WindowWording.h"

namespace kestrava::WindowWording {

using namespace Qt::StringLiterals;

QString fileCountText(qsizetype count)
{
    return count == 1 ? u"1 Datei"_s : QString::number(count) + u" Dateien"_s;
}

QString shotCountText(qsizetype count)
{
    return count == 1 ? u"1 Motiv"_s : QString::number(count) + u" Motive"_s;
}

QString shotsAndFilesText(qsizetype shots, qsizetype files)
{
    return shotCountText(shots) + u" · "_s + fileCountText(files);
}

} // namespace kestrava::WindowWording
