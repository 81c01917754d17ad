// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// The state of a QJDifferenceEngine, shared with the writers of its runs (HTML, JSON).

#include "DiffEngine.h"
#include "QJDifferenceEngine.h"
#include "qjdifftokens_p.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstring>
#include <memory>
#include <span>
#include <vector>

class QJDifferenceEnginePrivate
{
public:
    // One text of the comparison. A text given in UTF-8 is kept in that form until its string is
    // asked for.
    struct Side
    {
        mutable QString string;
        mutable QByteArray utf8;
        mutable bool pending = false;
        QJDiffTokens tokens;
    };

    static const QJDifferenceEnginePrivate &get(const QJDifferenceEngine &engine) { return *engine.d; }

    // The tokens of a run of the last computation: for an unchanged run, the old side's on both.
    std::span<const char *const> oldTokens(const DiffRun &run) const
    {
        return {engine->from + run.from_begin, std::size_t(run.from_end - run.from_begin)};
    }
    std::span<const char *const> newTokens(const DiffRun &run) const
    {
        return run.type == DiffOpCopy ? oldTokens(run)
                                      : std::span(engine->to + run.to_begin, std::size_t(run.to_end - run.to_begin));
    }
    // Appends what DiffObject makes of @p tokens (its old or new value), in UTF-8.
    static void appendJoined(QByteArray &out, std::span<const char *const> tokens);
    // The same for a part of a run's tokens, so that a long run can be written a part at a time:
    // @p first tells whether the part starts the run, @p valid whether the run is isValid() (-1:
    // not known, the part being the whole run).
    static void appendJoinedPart(QByteArray &out, std::span<const char *const> tokens, bool first, int valid);
    // @return whether the text of a run's @p tokens, joined, is valid UTF-8.
    static bool isValid(std::span<const char *const> tokens);
    // The text a run's @p tokens span in their side's buffer, where they lie in text order with only
    // NULs and separators between them: the size of their joined text, near enough, in O(1).
    static QByteArrayView stretch(std::span<const char *const> tokens)
    {
        return tokens.empty() ? QByteArrayView()
                              : QByteArrayView(tokens.front(), tokens.back() + std::strlen(tokens.back()));
    }

    QString text(const Side &side) const;
    void setText(Side &side, const QString &text);
    bool setUtf8(Side &side, const QByteArray &utf8);
    // Hands the side's tokens to the engine, as its "from" or its "to" sequence.
    void tokensChanged(const Side &side);

    int _comparisonType = ComparisonLines;
    QList<DiffObject> _differences;
    const std::unique_ptr<DiffEngine> engine = std::make_unique<DiffEngine>();
    float _matchValue = 0;
    Side _old;
    Side _new;
    // The runs of the last computation, by token position.
    std::vector<DiffRun> runs;
};
