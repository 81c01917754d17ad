// SPDX-License-Identifier: LGPL-2.1-or-later
#include "CompareWindow.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>


using namespace Qt::StringLiterals;

namespace
{
QLabel *legendChip(const QString &text, const QString &style)
{
    auto *chip = new QLabel(text);
    chip->setStyleSheet(u"QLabel { %1 padding: 1px 6px; border-radius: 3px; }"_s.arg(style));
    return chip;
}

QString runs(int count, const QString &one, const QString &many)
{
    return QLocale().toString(count) + u' ' + (count == 1 ? one : many);
}
} // namespace

CompareWindow::CompareWindow(QWidget *parent) : QWidget(parent, Qt::Window)
{
    setObjectName(u"compareWindow"_s);
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(760, 560);

    m_heading = new QLabel;
    QFont headingFont = m_heading->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.2);
    m_heading->setFont(headingFont);
    m_details = new QLabel;
    m_details->setObjectName(u"compareDetails"_s);
    m_details->setWordWrap(true);

    m_matchLabel = new QLabel;
    m_matchLabel->setObjectName(u"compareMatch"_s);
    QFont matchFont = m_matchLabel->font();
    matchFont.setBold(true);
    m_matchLabel->setFont(matchFont);
    // A number, not a bar: a bar filling up reads as work in progress.
    m_matchLabel->setToolTip(tr("The share of words the two texts have in common"));

    auto *top = new QHBoxLayout;
    auto *titles = new QVBoxLayout;
    titles->addWidget(m_heading);
    titles->addWidget(m_details);
    top->addLayout(titles, 1);
    top->addWidget(m_matchLabel, 0, Qt::AlignRight | Qt::AlignTop);

    auto *legend = new QHBoxLayout;
    legend->setSpacing(8);
    legend->addWidget(new QLabel(tr("Marked:")));
    legend->addWidget(
        legendChip(tr("deleted"), u"color: #9b1c2c; background: #fbe3e6; text-decoration: line-through;"_s));
    legend->addWidget(legendChip(tr("added"), u"color: #155d2e; background: #dcf3e3;"_s));
    legend->addWidget(
        legendChip(tr("changed from"), u"color: #8a4b0f; background: #fcebd6; text-decoration: line-through;"_s));
    legend->addWidget(legendChip(tr("changed to"), u"color: #155d2e; background: #dcf3e3;"_s));
    legend->addSpacing(8);
    legend->addWidget(new QLabel(tr("¶ a paragraph break added or removed")));
    legend->addStretch();

    m_view = new QTextBrowser;
    m_view->setObjectName(u"compareView"_s);
    m_view->setOpenLinks(false);
    QFont serif(u"DejaVu Serif"_s);
    serif.setStyleHint(QFont::Serif);
    serif.setPointSizeF(11);
    m_view->setFont(serif);
    m_view->document()->setDocumentMargin(18);
    m_view->document()->setDefaultStyleSheet(DocumentComparison::styleSheet());
    QPalette paper = m_view->palette();
    paper.setColor(QPalette::Base, QColor(0xfd, 0xfc, 0xf8));
    paper.setColor(QPalette::Text, QColor(0x26, 0x26, 0x26));
    m_view->setPalette(paper);

    auto *buttons = new QDialogButtonBox;
    QPushButton *refresh = buttons->addButton(tr("Compare Again"), QDialogButtonBox::ActionRole);
    refresh->setObjectName(u"compareAgain"_s);
    QPushButton *close = buttons->addButton(QDialogButtonBox::Close);
    connect(refresh, &QPushButton::clicked, this, &CompareWindow::refreshRequested);
    connect(close, &QPushButton::clicked, this, &QWidget::close);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 12);
    layout->setSpacing(10);
    layout->addLayout(top);
    layout->addLayout(legend);
    layout->addWidget(m_view, 1);
    layout->addWidget(buttons);
}

// A comparison still running ends on the pool and its result goes nowhere: it holds copies of
// the texts only, and its watcher goes with the window.
CompareWindow::~CompareWindow() = default;

void CompareWindow::compare(const QString &path, const QString &current)
{
    const QFileInfo file(path);
    setWindowTitle(tr("Compare — %1").arg(file.fileName()));
    m_heading->setText(tr("Changes since %1 was saved").arg(file.fileName()));
    m_saved = tr("Saved %1").arg(QLocale().toString(file.lastModified(), u"d MMM yyyy, HH:mm"_s));
    m_details->setText(m_saved + u" · "_s + tr("comparing…"));
    const quint64 generation = ++m_generation;
    auto *watcher = new QFutureWatcher<DocumentComparison>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation] {
        watcher->deleteLater();
        --m_pending;
        if (generation == m_generation) // else a newer comparison is under way
            showResult(watcher->result());
    });
    ++m_pending;
    watcher->setFuture(
        QtConcurrent::run([path, current] { return DocumentComparison::compareWithFile(path, current); }));
}

void CompareWindow::showResult(const DocumentComparison &result)
{
    m_result = result;
    m_matchLabel->setText(tr("Match: %1\u00a0%").arg(QLocale().toString(result.matchValue * 100.0, 'f', 1)));
    QStringList found;
    if (result.changed)
        found.append(runs(result.changed, tr("change"), tr("changes")));
    if (result.deleted)
        found.append(runs(result.deleted, tr("deletion"), tr("deletions")));
    if (result.added)
        found.append(runs(result.added, tr("addition"), tr("additions")));
    const QString summary = !result.error.isEmpty() ? tr("the file could not be read: %1").arg(result.error)
        : found.isEmpty()                           ? tr("no differences")
                                                    : found.join(u", "_s);
    m_details->setText(m_saved + u" · "_s + summary);
    m_view->setHtml(result.html);
    Q_EMIT compared();
}
