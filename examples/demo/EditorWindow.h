// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"

#include <QMainWindow>
#include <QPointer>

class QAction;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QTimer;
class CompareWindow;
class DemoSettings;
class DocumentStatistics;
class FindBar;

/**
 * The demo's editor window: a plain-text editor whose status bar shows live statistics of the
 * selection, or of the whole text when nothing is selected; a find bar; a compare view against the
 * file on disk; and a title that keeps the end of the file's folder when it is too long.
 *
 * Its actions carry object names ("fileOpen", "editFind", "helpAbout", "helpCheckForUpdates", ...),
 * so the application (and the tour) can reach them; the Help actions are connected by the
 * application.
 *
 * It takes part in shut-down: before the settings are written it notes its geometry there and
 * offers to save unsaved changes.
 */
class EditorWindow : public QMainWindow, public QJShutdownSequence
{
    Q_OBJECT

public:
    explicit EditorWindow(DemoSettings *settings, QWidget *parent = nullptr);
    ~EditorWindow() override;

    /** Takes the window's geometry and the recent files from the settings (once they are read). */
    void applySettings();
    /** Opens the UTF-8 text file @p path. @return success; a failure is reported to the user. */
    bool openFile(const QString &path);
    /** Shows @p text, read from the file @p path already (an empty path: an untitled document). */
    void openText(const QString &text, const QString &path);
    /** Makes an untitled document of about @p bytes bytes from the sample text, to try typing in. */
    void openLargeDocument(qsizetype bytes);
    /** Saves to the current file (asks for one when there is none). @return success. */
    bool save();
    /** Asks for a file and saves there. @return success. */
    bool saveAs();

    /** @return the file of the document, or an empty string for an untitled one. */
    QString filePath() const { return m_path; }
    QPlainTextEdit *editor() const { return m_editor; }
    DocumentStatistics *statistics() const { return m_statistics; }
    FindBar *findBar() const { return m_findBar; }
    /** @return the compare window, once it has been opened. */
    CompareWindow *compareWindow() const;
    /** @return the action with the object name @p name. */
    QAction *action(const QString &name) const;
    /** @return the status bar's statistics as one line of text ("1,204 words · ..."). */
    QString statisticsText() const;

    /** Opens the compare view of the text against the file on disk. */
    void compareWithSavedVersion();

    /**
     * @return the window title for @p path: the file name, then its folder fitted into
     * @p folderWidth points of the small system font, keeping the folder's end.
     */
    static QString titleForPath(const QString &path, float folderWidth);

    /** Notes the geometry in the settings and offers to save changes. @return true. */
    bool shutdownSequence() override;

protected:
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void createActions();
    void createStatusBar();
    void updateStatusBar();
    void updateTitle();
    void updateLineWidth();
    void updateRecentFilesMenu();
    void setDocument(const QString &text, const QString &path);
    bool writeTo(const QString &path);
    bool maybeSave();
    void newDocument();
    void open();
    void noteGeometry();

    DemoSettings *m_settings;
    QPlainTextEdit *m_editor;
    DocumentStatistics *m_statistics;
    FindBar *m_findBar;
    QPointer<CompareWindow> m_compare;
    QMenu *m_recentMenu = nullptr;
    QLabel *m_scope;
    QLabel *m_words;
    QLabel *m_lines;
    QLabel *m_paragraphs;
    QLabel *m_chars;
    QTimer *m_geometryTimer;
    QString m_path;
};
