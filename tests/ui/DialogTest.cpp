// The file dialogs as a person uses them: names typed into Qt's own dialog (never the
// desktop's, so the test can type), a folder changed by typing its path, names without their
// extension, a folder chosen from inside it; and what happens when nothing can be shown or
// written.

#include "UiRig.h"
#include "session/SortSession.h"
#include "ui/DesktopIntegration.h"
#include "ui/FileDialogs.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QLibraryInfo>
#include <QMessageBox>
#include <QTimer>
#include <QWindow>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

QFileDialog* openDialog(FileDialogs& dialogs)
{
    if (!waitUntil([&] { return dialogs.currentDialog() && dialogs.currentDialog()->isVisible(); }, 20000))
        return nullptr;
    return dialogs.currentDialog();
}

QLineEdit* nameField(QFileDialog* dialog)
{
    return dialog->findChild<QLineEdit*>(u"fileNameEdit"_s);
}

QAbstractButton* acceptButton(QFileDialog* dialog)
{
    auto* box = dialog->findChild<QDialogButtonBox*>(u"buttonBox"_s);
    return box ? box->buttons().value(0) : nullptr;
}

// Replaces what the name field holds with `text` and presses Enter, as a person would.
void typeAndEnter(QFileDialog* dialog, const QString& text)
{
    QLineEdit* field = nameField(dialog);
    // As on a desktop: the dialog is the active window and the name field has the focus (Qt's
    // dialog treats a field without focus as one the user is not typing in).
    dialog->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(dialog));
    field->setFocus();
    EXPECT_TRUE(field->hasFocus());
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, text);
    QTest::keyClick(field, Qt::Key_Return);
}

// Pictures as the desktop names it, for the process while the test runs.
struct PicturesFolder {
    explicit PicturesFolder(TempTree& tree)
        : config(tree.mkdir(u"config"_s)), pictures(tree.mkdir(u"Bilder"_s)), previous(qgetenv("XDG_CONFIG_HOME"))
    {
        tree.write(u"config/user-dirs.dirs"_s, "XDG_PICTURES_DIR=\"" + QFile::encodeName(pictures) + "\"\n");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
    }
    ~PicturesFolder()
    {
        if (previous.isEmpty())
            qunsetenv("XDG_CONFIG_HOME");
        else
            qputenv("XDG_CONFIG_HOME", previous);
    }
    QString config;
    QString pictures;
    QByteArray previous;
};

} // namespace

TEST(FileDialogs, savedUnderATypedNameInAChangedFolderWithTheExtensionAdded)
{
    UiRig rig(2);
    rig.loadShoot();
    FileDialogs& dialogs = *rig.shell->dialogs();
    dialogs.setUseNativeDialogs(false);
    const QString elsewhere = rig.tree.mkdir(u"Anderswo"_s);

    struct Case {
        std::function<void()> open;
        QString typed;
        QString written;
    };
    const QList<Case> cases{
        {[&] { dialogs.saveSession(); }, u"Mein Stand"_s, u"Mein Stand.kestrava"_s},
        {[&] { dialogs.exportCsv(); }, u"Liste.CSV"_s, u"Liste.CSV"_s},
        {[&] { dialogs.saveReport(); }, u"Bericht Mai"_s, u"Bericht Mai.txt"_s},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.written.toStdString());
        each.open();
        QFileDialog* dialog = openDialog(dialogs);
        ASSERT_NE(dialog, nullptr);
        ASSERT_NE(nameField(dialog), nullptr);
        EXPECT_EQ(acceptButton(dialog)->text().remove(u'&'), u"Speichern"_s);
        EXPECT_NE(QDir(dialog->directory()).absolutePath(), QDir::currentPath());
        // A name is proposed.
        EXPECT_FALSE(nameField(dialog)->text().isEmpty());

        // Typing a folder's path and Enter goes there; then the name.
        typeAndEnter(dialog, elsewhere);
        ASSERT_TRUE(waitUntil([&] { return dialog->directory().absolutePath() == elsewhere; }))
            << dialog->directory().absolutePath().toStdString();
        typeAndEnter(dialog, each.typed);
        const QString path = elsewhere + u'/' + each.written;
        ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(path); }))
            << rig.viewModel->alertText().toStdString();
        EXPECT_EQ(dialogs.currentDialog(), nullptr);
        EXPECT_TRUE(rig.viewModel->alertText().isEmpty()) << rig.viewModel->alertText().toStdString();
    }
    const QString typedTwice = elsewhere + u"/Liste.CSV.csv"_s;
    EXPECT_FALSE(QFileInfo::exists(typedTwice));

    EXPECT_EQ(decodeSortSession(readFile(elsewhere + u"/Mein Stand.kestrava"_s)).id, rig.viewModel->session()->id);
    EXPECT_TRUE(readFile(elsewhere + u"/Liste.CSV"_s).startsWith("Datei,"));
    EXPECT_TRUE(readFile(elsewhere + u"/Bericht Mai.txt"_s).startsWith("Kestrava "));
}

TEST(FileDialogs, theExportAsksNothingItWouldNotDoAndKeepsTheFileThere)
{
    UiRig rig(1);
    rig.loadShoot();
    FileDialogs& dialogs = *rig.shell->dialogs();
    dialogs.setUseNativeDialogs(false);
    const QString existing = rig.tree.write(u"Liste.csv"_s, "meine Liste");
    dialogs.exportCsv();
    QFileDialog* dialog = openDialog(dialogs);
    ASSERT_NE(dialog, nullptr);
    // A question would block Enter in its own event loop; it is answered "No" and noted.
    bool asked = false;
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&] {
        if (auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            asked = true;
            question->reject();
        }
    });
    answer.start(100);
    typeAndEnter(dialog, existing);
    // No "replace?" question whose yes would be refused: the answer names the file at once.
    EXPECT_FALSE(asked);
    if (asked)
        dialog->reject();
    ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->alertText().isEmpty(); }, 10000));
    EXPECT_TRUE(rig.viewModel->alertText().contains(existing)) << rig.viewModel->alertText().toStdString();
    EXPECT_EQ(readFile(existing), QByteArray("meine Liste"));
}

TEST(FileDialogs, theDialogSpeaksGermanAndOffersThePlaces)
{
    UiRig rig(1);
    PicturesFolder pictures(rig.tree);
    FileDialogs& dialogs = *rig.shell->dialogs();
    dialogs.setUseNativeDialogs(false);
    dialogs.openSession();
    QFileDialog* dialog = openDialog(dialogs);
    ASSERT_NE(dialog, nullptr);
    // Nothing open yet: the session documents are looked for in Pictures.
    EXPECT_EQ(dialog->directory().absolutePath().toStdString(), pictures.pictures.toStdString());
    EXPECT_TRUE(dialog->sidebarUrls().contains(QUrl::fromLocalFile(QDir::homePath())));
    EXPECT_TRUE(dialog->sidebarUrls().contains(QUrl::fromLocalFile(pictures.pictures)));
    if (QLibraryInfo::path(QLibraryInfo::TranslationsPath).isEmpty()
        || !QFileInfo::exists(QLibraryInfo::path(QLibraryInfo::TranslationsPath) + u"/qtbase_de.qm"_s)) {
        dialog->reject();
        GTEST_SKIP() << "Qt's German translations (qt6-translations-l10n) are not installed";
    }
    // "&" marks the key that goes with Alt.
    EXPECT_EQ(acceptButton(dialog)->text().remove(u'&'), u"Öffnen"_s);
    auto* box = dialog->findChild<QDialogButtonBox*>(u"buttonBox"_s);
    EXPECT_EQ(box->button(QDialogButtonBox::Cancel)->text().remove(u'&'), u"Abbrechen"_s);
    auto* label = dialog->findChild<QLabel*>(u"fileNameLabel"_s);
    ASSERT_NE(label, nullptr);
    EXPECT_TRUE(label->text().remove(u'&').contains(u"Dateiname"_s)) << label->text().toStdString();
    dialog->reject();
    EXPECT_TRUE(waitUntil([&] { return dialogs.currentDialog() == nullptr; }));
    EXPECT_EQ(rig.viewModel->route(), AppRoute::welcome);
}

TEST(FileDialogs, aFolderIsChosenFromInsideIt)
{
    UiRig rig(1);
    PicturesFolder pictures(rig.tree);
    FileDialogs& dialogs = *rig.shell->dialogs();
    dialogs.setUseNativeDialogs(false);
    const QString wanted = rig.tree.mkdir(u"Bilder/Hochzeit Meier"_s);

    dialogs.chooseSource();
    QFileDialog* dialog = openDialog(dialogs);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->directory().absolutePath().toStdString(), pictures.pictures.toStdString());
    // Gone into the folder (as by a double click): with nothing typed, the folder itself is
    // the choice.
    dialog->setDirectory(wanted);
    ASSERT_TRUE(nameField(dialog)->text().isEmpty()) << nameField(dialog)->text().toStdString();
    ASSERT_TRUE(waitUntil([&] { return acceptButton(dialog)->isEnabled(); }));
    QTest::mouseClick(acceptButton(dialog), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->sourceFolderPath() == wanted; }))
        << rig.viewModel->sourceFolderPath().toStdString();
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::welcome; }));

    // A folder's path typed into the field and Enter chooses that folder.
    const QString other = rig.tree.mkdir(u"Karte/DCIM"_s);
    dialogs.chooseSource();
    dialog = openDialog(dialogs);
    ASSERT_NE(dialog, nullptr);
    typeAndEnter(dialog, other);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->sourceFolderPath() == other; }))
        << rig.viewModel->sourceFolderPath().toStdString();
}

TEST(FileDialogs, aFolderGoneBeforeSavingIsNamedInTheMessage)
{
    UiRig rig(1);
    rig.loadShoot();
    FileDialogs& dialogs = *rig.shell->dialogs();
    dialogs.setUseNativeDialogs(false);
    const QString card = rig.tree.mkdir(u"Karte"_s);
    dialogs.saveReport();
    QFileDialog* dialog = openDialog(dialogs);
    ASSERT_NE(dialog, nullptr);
    typeAndEnter(dialog, card);
    ASSERT_TRUE(waitUntil([&] { return dialog->directory().absolutePath() == card; }));
    // The card is pulled while the dialog is open.
    ASSERT_TRUE(QDir(card).removeRecursively());
    typeAndEnter(dialog, u"Bericht"_s);
    ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->alertText().isEmpty(); }));
    EXPECT_EQ(dialogs.currentDialog(), nullptr);
    EXPECT_TRUE(rig.viewModel->alertText().contains(card + u"/Bericht.txt"_s)) << rig.viewModel->alertText().toStdString();
    // Nothing was made in its place.
    EXPECT_FALSE(QFileInfo::exists(card));
}

TEST(DialogPlaces, cardsAreTheMountsBelowTheUsualPlaces)
{
    const QStringList cards = DialogPlaces::removableMounts({{u"/"_s, u"ext4"_s},
                                                             {u"/home"_s, u"ext4"_s},
                                                             {u"/media"_s, u"ext4"_s},
                                                             {u"/mntdata"_s, u"ext4"_s, true},
                                                             {u"/media/anna/EOS_DIGITAL"_s, u"exfat"_s},
                                                             {u"/run/media/anna/SD"_s, u"vfat"_s},
                                                             {u"/mnt/karte/"_s, u"fuseblk"_s, true},
                                                             {u"/mnt/nas"_s, u"nfs4"_s},
                                                             {u"/mnt/ramdisk"_s, u"tmpfs"_s, true},
                                                             {u"/media/anna/EOS_DIGITAL2"_s, u"vfat"_s}});
    EXPECT_EQ(cards, (QStringList{u"/media/anna/EOS_DIGITAL"_s, u"/media/anna/EOS_DIGITAL2"_s, u"/mnt/karte"_s,
                                  u"/run/media/anna/SD"_s}));
    // The longest mount that holds the path; a name that only starts like a mount is not in it.
    EXPECT_EQ(DialogPlaces::cardOf(u"/media/anna/EOS_DIGITAL2/DCIM/100CANON"_s, cards), u"/media/anna/EOS_DIGITAL2"_s);
    EXPECT_EQ(DialogPlaces::cardOf(u"/media/anna/EOS_DIGITAL"_s, cards), u"/media/anna/EOS_DIGITAL"_s);
    EXPECT_TRUE(DialogPlaces::cardOf(u"/home/anna/Bilder"_s, cards).isEmpty());

    EXPECT_EQ(DialogPlaces::withExtension(u"/a/Bericht"_s, u"txt"_s), u"/a/Bericht.txt"_s);
    EXPECT_EQ(DialogPlaces::withExtension(u"/a/Bericht.TXT"_s, u"txt"_s), u"/a/Bericht.TXT"_s);
    EXPECT_EQ(DialogPlaces::withExtension(u"/a/Stand.v2"_s, u"kestrava"_s), u"/a/Stand.v2.kestrava"_s);
    EXPECT_EQ(DialogPlaces::withExtension(u"/a/.csv"_s, u"csv"_s), u"/a/.csv.csv"_s);
}

TEST(FileManagerDesktop, whenNothingAnswersTheUserLearnsWhereToLook)
{
    TempTree tree;
    const QString folder = tree.mkdir(u"Ergebnis"_s);
    const QString log = tree.write(u"lauf.execution.log"_s, "log");
    FileManagerDesktop desktop;
    QStringList messages;
    QList<QUrl> asked;
    desktop.setFailureHandler([&](const QString& message) { messages.append(message); });
    desktop.setOpener([&](const QUrl& url) {
        asked.append(url);
        return false;
    });
    desktop.open(FileUrl::fromLocalPath(log));
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.first().contains(log)) << messages.first().toStdString();

    // The file manager over D-Bus is asked first; where one answers there is nothing to report.
    desktop.reveal(FileUrl::fromLocalPath(folder));
    if (!waitUntil([&] { return messages.size() == 2; }, 10000))
        GTEST_SKIP() << "a file manager on this session bus answered";
    EXPECT_TRUE(messages.last().contains(folder)) << messages.last().toStdString();
    EXPECT_EQ(asked.last(), QUrl::fromLocalFile(folder));
}

TEST(FileDialogs, theWindowsButtonsAndKeysReachTheDialogs)
{
    UiRig rig(1);
    rig.shell->dialogs()->setUseNativeDialogs(false);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    window->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));

    rig.click(rig.find(u"chooseSourceButton"_s));
    QFileDialog* dialog = openDialog(*rig.shell->dialogs());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
    // Above the window it was opened from.
    ASSERT_NE(dialog->windowHandle(), nullptr);
    EXPECT_EQ(dialog->windowHandle()->transientParent(), window);
    dialog->reject();
    EXPECT_TRUE(waitUntil([&] { return rig.shell->dialogs()->currentDialog() == nullptr; }));

    // Ctrl+S before anything is open: the view model answers, and no dialog comes first.
    window->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    rig.press(window, Qt::Key_S, Qt::ControlModifier);
    ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->alertText().isEmpty(); }, 10000));
    EXPECT_EQ(rig.viewModel->alertText(), u"Es ist noch keine Sitzung vorhanden."_s);
    EXPECT_EQ(rig.shell->dialogs()->currentDialog(), nullptr);
    // Nor for the decision export.
    rig.viewModel->dismissAlert();
    rig.shell->dialogs()->exportCsv();
    EXPECT_EQ(rig.shell->dialogs()->currentDialog(), nullptr);
    EXPECT_FALSE(rig.viewModel->alertText().isEmpty());
}
