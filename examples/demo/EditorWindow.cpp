// SPDX-License-Identifier: LGPL-2.1-or-later
#include "EditorWindow.h"

#include "CompareWindow.h"
#include "DemoSettings.h"
#include "DocumentStatistics.h"
#include "FindBar.h"
#include "StringSizingWidgets.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QStatusBar>
#include <QStringDecoder>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace
{
// The share of the window's width the folder may take in the title; the rest is the file name,
// the application's name and the window's buttons.
constexpr float TitleFolderShare = 0.4f;

QString counted(qint32 number, const QString &one, const QString &many)
{
    return QLocale().toString(number) + u' ' + (number == 1 ? one : many);
}
} // namespace

EditorWindow::EditorWindow(DemoSettings *settings, QWidget *parent)
    : QMainWindow(parent), m_settings(settings), m_editor(new QPlainTextEdit), m_geometryTimer(new QTimer(this))
{
    setObjectName(u"editorWindow"_s);
    m_editor->setObjectName(u"editor"_s);
    QFont font(u"DejaVu Serif"_s);
    font.setStyleHint(QFont::Serif);
    font.setPointSizeF(11.5);
    m_editor->setFont(font);
    m_editor->setFrameShape(QFrame::NoFrame);
    m_editor->document()->setDocumentMargin(28);
    QPalette paper = m_editor->palette();
    paper.setColor(QPalette::Base, QColor(0xfd, 0xfc, 0xf8));
    paper.setColor(QPalette::Text, QColor(0x26, 0x26, 0x26));
    m_editor->setPalette(paper);
    m_editor->viewport()->installEventFilter(this);

    m_statistics = new DocumentStatistics(m_editor->document(), this);
    m_findBar = new FindBar(m_editor, m_statistics);
    m_findBar->hide();

    auto *central = new QWidget;
    auto *layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_editor, 1);
    layout->addWidget(m_findBar);
    setCentralWidget(central);

    createActions();
    createStatusBar();

    connect(m_statistics, &DocumentStatistics::changed, this, &EditorWindow::updateStatusBar);
    connect(m_editor, &QPlainTextEdit::selectionChanged, this, &EditorWindow::updateStatusBar);
    connect(m_editor->document(), &QTextDocument::modificationChanged, this, &QWidget::setWindowModified);
    connect(m_settings, &DemoSettings::recentFilesChanged, this, &EditorWindow::updateRecentFilesMenu);

    // Moving and resizing send many events; the geometry is saved once they stop.
    m_geometryTimer->setSingleShot(true);
    m_geometryTimer->setInterval(800);
    connect(m_geometryTimer, &QTimer::timeout, this, &EditorWindow::noteGeometry);

    resize(980, 660);
    setDocument(QString(), QString());
    updateRecentFilesMenu();
}

void EditorWindow::applySettings()
{
    if (!m_settings->windowGeometry().isEmpty())
        restoreGeometry(m_settings->windowGeometry());
    updateRecentFilesMenu();
}

EditorWindow::~EditorWindow() = default;

CompareWindow *EditorWindow::compareWindow() const
{
    return m_compare;
}

QAction *EditorWindow::action(const QString &name) const
{
    return findChild<QAction *>(name);
}

void EditorWindow::createActions()
{
    auto add = [this](QMenu *menu, const QString &name, const QString &text, const QKeySequence &shortcut, auto slot) {
        QAction *action = menu->addAction(text);
        action->setObjectName(name);
        action->setShortcut(shortcut);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };

    QMenu *file = menuBar()->addMenu(tr("&File"));
    add(file, u"fileNew"_s, tr("&New"), QKeySequence::New, [this] { newDocument(); });
    add(file, u"fileOpen"_s, tr("&Open…"), QKeySequence::Open, [this] { open(); });
    m_recentMenu = file->addMenu(tr("Open &Recent"));
    m_recentMenu->setObjectName(u"recentMenu"_s);
    add(file, u"fileOpenLarge"_s, tr("New &1 MB Document"), QKeySequence(), [this] {
        if (maybeSave())
            openLargeDocument(1024 * 1024);
    });
    file->addSeparator();
    add(file, u"fileSave"_s, tr("&Save"), QKeySequence::Save, [this] { save(); });
    add(file, u"fileSaveAs"_s, tr("Save &As…"), QKeySequence::SaveAs, [this] { saveAs(); });
    file->addSeparator();
    add(file, u"fileCompare"_s, tr("&Compare with Saved Version"), QKeySequence(tr("Ctrl+Shift+D")),
        [this] { compareWithSavedVersion(); });
    file->addSeparator();
    add(file, u"fileQuit"_s, tr("&Quit"), QKeySequence::Quit, [this] { close(); });

    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    QAction *undo = add(edit, u"editUndo"_s, tr("&Undo"), QKeySequence::Undo, [this] { m_editor->undo(); });
    QAction *redo = add(edit, u"editRedo"_s, tr("&Redo"), QKeySequence::Redo, [this] { m_editor->redo(); });
    undo->setEnabled(false);
    redo->setEnabled(false);
    connect(m_editor, &QPlainTextEdit::undoAvailable, undo, &QAction::setEnabled);
    connect(m_editor, &QPlainTextEdit::redoAvailable, redo, &QAction::setEnabled);
    edit->addSeparator();
    add(edit, u"editCut"_s, tr("Cu&t"), QKeySequence::Cut, [this] { m_editor->cut(); });
    add(edit, u"editCopy"_s, tr("&Copy"), QKeySequence::Copy, [this] { m_editor->copy(); });
    add(edit, u"editPaste"_s, tr("&Paste"), QKeySequence::Paste, [this] { m_editor->paste(); });
    add(edit, u"editSelectAll"_s, tr("Select &All"), QKeySequence::SelectAll, [this] { m_editor->selectAll(); });
    edit->addSeparator();
    add(edit, u"editFind"_s, tr("&Find…"), QKeySequence::Find, [this] { m_findBar->activate(); });
    add(edit, u"editFindNext"_s, tr("Find &Next"), QKeySequence::FindNext, [this] {
        if (m_findBar->findText().isEmpty())
            m_findBar->activate();
        else
            m_findBar->find(false);
    });
    add(edit, u"editFindPrevious"_s, tr("Find Pre&vious"), QKeySequence::FindPrevious, [this] {
        if (m_findBar->findText().isEmpty())
            m_findBar->activate();
        else
            m_findBar->find(true);
    });

    QMenu *help = menuBar()->addMenu(tr("&Help"));
    QAction *about = help->addAction(tr("&About %1").arg(QApplication::applicationName()));
    about->setObjectName(u"helpAbout"_s);
    about->setMenuRole(QAction::AboutRole);
    QAction *updates = help->addAction(tr("Check for &Updates…"));
    updates->setObjectName(u"helpCheckForUpdates"_s);
    updates->setMenuRole(QAction::ApplicationSpecificRole);
}

void EditorWindow::createStatusBar()
{
    m_scope = new QLabel;
    m_scope->setObjectName(u"statisticsScope"_s);
    statusBar()->addWidget(m_scope);
    auto counter = [this](const QString &name, const QString &tip) {
        auto *label = new QLabel;
        label->setObjectName(name);
        label->setToolTip(tip);
        label->setContentsMargins(10, 0, 10, 0);
        statusBar()->addPermanentWidget(label);
        return label;
    };
    m_words = counter(u"statisticsWords"_s, tr("Runs of characters between spaces, tabs and line breaks"));
    m_lines = counter(u"statisticsLines"_s, QString());
    m_paragraphs = counter(u"statisticsParagraphs"_s, tr("Lines that are not empty"));
    m_chars = counter(u"statisticsCharacters"_s, tr("Characters, not counting spaces, tabs and line breaks"));
    statusBar()->setSizeGripEnabled(true);
}

void EditorWindow::updateStatusBar()
{
    const QTextCursor cursor = m_editor->textCursor();
    const bool selection = cursor.hasSelection();
    const TextCounts counts = selection ? m_statistics->countRange({quint32(cursor.selectionStart()),
                                  quint32(cursor.selectionEnd() - cursor.selectionStart())})
                                        : m_statistics->totals();
    m_scope->setText(selection ? tr("Selection") : tr("Document"));
    m_words->setText(counted(counts.words, tr("word"), tr("words")));
    m_lines->setText(counted(counts.lines, tr("line"), tr("lines")));
    m_paragraphs->setText(counted(counts.paragraphs, tr("paragraph"), tr("paragraphs")));
    m_chars->setText(counted(counts.chars, tr("character"), tr("characters")));
    m_lines->setToolTip(tr("Lines of %1 characters, the width of the editor").arg(m_statistics->lineWidth()));
}

QString EditorWindow::statisticsText() const
{
    return QStringList {m_scope->text(), m_words->text(), m_lines->text(), m_paragraphs->text(), m_chars->text()}.join(
        u" · "_s);
}

void EditorWindow::updateLineWidth()
{
    // Lines as the editor shows them: as many average characters as fit between the margins.
    const qreal room = m_editor->viewport()->width() - 2 * m_editor->document()->documentMargin();
    const qreal average = QFontMetricsF(m_editor->font()).averageCharWidth();
    m_statistics->setLineWidth(quint32(std::max<qreal>(1, room / std::max<qreal>(1, average))));
}

QString EditorWindow::titleForPath(const QString &path, float folderWidth)
{
    if (path.isEmpty())
        return tr("Untitled") + u"[*]"_s;
    const QFileInfo info(path);
    QString folder = QDir::toNativeSeparators(info.absolutePath());
    const QString home = QDir::toNativeSeparators(QDir::homePath());
    if (folder == home || folder.startsWith(home + QDir::separator()))
        folder = u'~' + folder.mid(home.size());
    return info.fileName() + u"[*] — "_s + StringSizing::shortenedStringWithSize(folder, folderWidth);
}

void EditorWindow::updateTitle()
{
    setWindowTitle(titleForPath(m_path, float(width()) * TitleFolderShare));
}

void EditorWindow::updateRecentFilesMenu()
{
    m_recentMenu->clear();
    const QStringList files = m_settings->recentFiles();
    for (const QString &path : files) {
        // The folder too, since two drafts often share a name; its end tells them apart.
        const QFileInfo info(path);
        QAction *entry = m_recentMenu->addAction(info.fileName() + u"  —  "_s
            + StringSizing::shortenedStringWithSize(QDir::toNativeSeparators(info.absolutePath()), 240));
        entry->setToolTip(path);
        entry->setStatusTip(path);
        connect(entry, &QAction::triggered, this, [this, path] {
            if (!maybeSave())
                return;
            if (!QFileInfo::exists(path)) {
                m_settings->removeRecentFile(path);
                m_settings->saveInBackground();
            }
            openFile(path);
        });
    }
    m_recentMenu->setEnabled(!files.isEmpty());
}

void EditorWindow::setDocument(const QString &text, const QString &path)
{
    m_path = path;
    m_editor->setPlainText(text);
    m_editor->document()->setModified(false);
    setWindowModified(false);
    action(u"fileCompare"_s)->setEnabled(!path.isEmpty());
    updateTitle();
    updateStatusBar();
}

void EditorWindow::newDocument()
{
    if (maybeSave())
        setDocument(QString(), QString());
}

void EditorWindow::open()
{
    if (!maybeSave())
        return;
    const QString start = m_path.isEmpty() ? QDir::homePath() : QFileInfo(m_path).absolutePath();
    const QString path
        = QFileDialog::getOpenFileName(this, tr("Open"), start, tr("Text files (*.txt *.md);;All files (*)"));
    if (!path.isEmpty())
        openFile(path);
}

bool EditorWindow::openFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        QMessageBox::warning(this, tr("Open"), tr("%1 could not be opened: %2").arg(path, file.errorString()));
        return false;
    }
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(file.readAll());
    if (decode.hasError()) {
        QMessageBox::warning(this, tr("Open"), tr("%1 is not a UTF-8 text file.").arg(path));
        return false;
    }
    openText(text, path);
    return true;
}

void EditorWindow::openText(const QString &text, const QString &path)
{
    setDocument(text, path.isEmpty() ? QString() : QFileInfo(path).absoluteFilePath());
    if (m_path.isEmpty())
        return;
    m_settings->addRecentFile(m_path);
    m_settings->saveInBackground();
}

void EditorWindow::openLargeDocument(qsizetype bytes)
{
    // The first chapters of the sample, numbered on, until the text is big enough.
    QFile sample(u":/demo/sample/harbour-notes.txt"_s);
    sample.open(QIODevice::ReadOnly);
    const QString body = QString::fromUtf8(sample.readAll()).section(u'\n', 2);
    QString text;
    text.reserve(bytes + body.size());
    for (int chapter = 1; text.size() < bytes; ++chapter)
        text += tr("Part %1").arg(chapter) + u"\n\n"_s + body + u'\n';
    setDocument(text, QString());
}

bool EditorWindow::save()
{
    return m_path.isEmpty() ? saveAs() : writeTo(m_path);
}

bool EditorWindow::saveAs()
{
    const QString start = m_path.isEmpty() ? QDir::homePath() + u'/' + tr("Untitled.txt") : m_path;
    const QString path = QFileDialog::getSaveFileName(this, tr("Save As"), start, tr("Text files (*.txt *.md)"));
    if (path.isEmpty() || !writeTo(path))
        return false;
    m_path = QFileInfo(path).absoluteFilePath();
    action(u"fileCompare"_s)->setEnabled(true);
    updateTitle();
    m_settings->addRecentFile(m_path);
    m_settings->saveInBackground();
    return true;
}

bool EditorWindow::writeTo(const QString &path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(m_editor->toPlainText().toUtf8()) < 0 || !file.commit()) {
        QMessageBox::warning(this, tr("Save"), tr("%1 could not be saved: %2").arg(path, file.errorString()));
        return false;
    }
    m_editor->document()->setModified(false);
    return true;
}

bool EditorWindow::maybeSave()
{
    if (!m_editor->document()->isModified())
        return true;
    const auto answer = QMessageBox::question(this, tr("Unsaved changes"),
        tr("The document has changes that are not saved. Save them?"),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Save)
        return save();
    return answer == QMessageBox::Discard;
}

void EditorWindow::compareWithSavedVersion()
{
    if (m_path.isEmpty())
        return;
    if (!m_compare) {
        m_compare = new CompareWindow(this);
        connect(m_compare, &CompareWindow::refreshRequested, this, &EditorWindow::compareWithSavedVersion);
    }
    // The statistics' copy is the plain text already; the worker shares it until the editor changes.
    m_compare->compare(m_path, m_statistics->text());
    m_compare->show();
    m_compare->raise();
    m_compare->activateWindow();
}

void EditorWindow::noteGeometry()
{
    m_settings->setWindowGeometry(saveGeometry());
    m_settings->saveInBackground();
}

bool EditorWindow::shutdownSequence()
{
    m_geometryTimer->stop();
    m_settings->setWindowGeometry(saveGeometry());
    // Quitting cannot be cancelled any more; the changes can still be kept.
    if (m_editor->document()->isModified()) {
        const auto answer = QMessageBox::question(this, tr("Unsaved changes"),
            tr("%1 is quitting. Save the changes to the document first?").arg(QApplication::applicationName()),
            QMessageBox::Save | QMessageBox::Discard, QMessageBox::Save);
        if (answer == QMessageBox::Save)
            save();
    }
    return true;
}

void EditorWindow::closeEvent(QCloseEvent *event)
{
    if (!maybeSave()) {
        event->ignore();
        return;
    }
    m_geometryTimer->stop();
    m_settings->setWindowGeometry(saveGeometry());
    // Saved or discarded: either way, not asked again when the application quits.
    m_editor->document()->setModified(false);
    event->accept();
}

void EditorWindow::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    updateTitle();
    if (isVisible())
        m_geometryTimer->start();
}

void EditorWindow::moveEvent(QMoveEvent *event)
{
    QMainWindow::moveEvent(event);
    if (isVisible())
        m_geometryTimer->start();
}

bool EditorWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_editor->viewport() && event->type() == QEvent::Resize)
        updateLineWidth();
    return QMainWindow::eventFilter(watched, event);
}
