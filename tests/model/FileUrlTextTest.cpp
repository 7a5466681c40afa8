// The file: URL text of a path is QUrl's, whichever way it is produced.

#include "model/FileUrl.h"

#include <QUrl>
#include <gtest/gtest.h>

using namespace kestrava;

TEST(FileUrl, urlTextIsQUrlsForEveryKindOfCharacter)
{
    const QStringList paths{
        "/", "/a", "/DCIM/100CANON/IMG_0001.JPG", "/Karte 1/Serie 1/IMG_1.jpg", "/a-b_c.d~e/f",
        "/Fotos/Ü 100%/x.jpg", "/a#b/c?d", "/a;b,c=d&e+f$g!h'i(j)k*l", "/a:b@c", "/a[b]/{c}", "/a\"b<c>d`e|f^g\\h",
        "/tab\tnewline\n", "/日本/写真.jpg", "/emoji 📷.jpg", "/trailing space ", "/%41"};
    for (const QString& path : paths) {
        const FileUrl url = FileUrl::fromLocalPath(path);
        ASSERT_FALSE(url.isEmpty()) << path.toStdString();
        EXPECT_EQ(url.toUrlString(), QUrl::fromLocalFile(url.path()).toString(QUrl::FullyEncoded)) << path.toStdString();
        EXPECT_EQ(FileUrl::fromUrlString(url.toUrlString()), url) << path.toStdString();
    }
    for (char16_t unit = 1; unit < 0x80; ++unit) {
        const FileUrl url = FileUrl::fromLocalPath(QStringLiteral("/x") + QChar(unit) + QStringLiteral("y"));
        if (url.isEmpty())
            continue;
        EXPECT_EQ(url.toUrlString(), QUrl::fromLocalFile(url.path()).toString(QUrl::FullyEncoded)) << int(unit);
    }
}
