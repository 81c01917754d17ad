// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QString>

#include <memory>
#include <span>

class DiffEngine;
class DiffOperation;
struct QJDiffTokens;

/** How QJDifferenceEngine splits a text into tokens; any other value makes the whole text one token. */
enum ComparisonType : int {
    ComparisonWords = 0, ///< words: blanks and line feeds separate tokens
    ComparisonLines = 1, ///< lines: line feeds separate tokens (the default)
    ComparisonPunctuation = 2, ///< words, with "!,.?:()" split off the word before them
};

/**
 * One run of a comparison: its type (a DiffOpType value: 0 unchanged, 1 changed, 2 deleted,
 * 3 added) and the old and new text of the run, tokens joined with single blanks.
 * For an unchanged run both texts hold the old side's tokens.
 */
class QJKITCORE_EXPORT DiffObject
{
public:
    /** An unchanged run of no text. */
    DiffObject() = default;
    /**
     * Joins the tokens of @p op. A token that is not valid UTF-8 reads as "(null)", the
     * rendering of a missing string.
     */
    explicit DiffObject(const DiffOperation *op);

    /** @return the DiffOpType value of the run. */
    int type() const { return _type; }
    /** @return the old side's tokens joined with single blanks. */
    QString oldValue() const { return _oldValue; }
    /** @return the new side's tokens joined with single blanks (the old side's for an unchanged run). */
    QString newValue() const { return _newValue; }

    /** @return whether both runs have the same type and texts. */
    friend bool operator==(const DiffObject &, const DiffObject &) = default;

private:
    QString _newValue;
    QString _oldValue;
    int _type = 0;
};

Q_DECLARE_METATYPE(DiffObject)

/**
 * A run of a comparison as QJDifferenceEngine::computeRuns() lists it: what a DiffObject holds,
 * without building its strings. The tokens are the engine's, valid until that side's text is set
 * again or the engine is gone; a long comparison can so be written out run by run, in UTF-8.
 */
class QJKITCORE_EXPORT QJDiffRun
{
public:
    /** @return the DiffOpType value of the run, as DiffObject::type(). */
    int type() const { return _type; }
    /** @return the tokens of the old value. */
    std::span<const char *const> oldTokens() const { return _old; }
    /** @return the tokens of the new value (for an unchanged run, the old side's again). */
    std::span<const char *const> newTokens() const { return _new; }
    /** @return whether the new value is the old value's text (an unchanged run). */
    bool sameValues() const { return _old.data() == _new.data() && _old.size() == _new.size(); }

    /** Appends DiffObject::oldValue() of the run, in UTF-8, to @p out. */
    void appendOldValue(QByteArray &out) const { appendJoined(out, _old); }
    /** Appends DiffObject::newValue() of the run, in UTF-8, to @p out. */
    void appendNewValue(QByteArray &out) const { appendJoined(out, _new); }

private:
    friend class QJDifferenceEngine;
    QJDiffRun(int type, std::span<const char *const> oldTokens, std::span<const char *const> newTokens)
        : _old(oldTokens), _new(newTokens), _type(type)
    { }
    static void appendJoined(QByteArray &out, std::span<const char *const> tokens);

    std::span<const char *const> _old;
    std::span<const char *const> _new;
    int _type;
};

/**
 * Compares an old and a new text as word, line or punctuated-word tokens, lists the runs kept,
 * changed, deleted and added, and computes a match value: the share of unchanged tokens when each
 * changed token weighs half. Tokens that only moved count as unchanged.
 *
 * Set the comparison type first, then both texts, then compute:
 * @code
 * QJDifferenceEngine engine;
 * engine.setComparisonType(ComparisonWords);
 * engine.setOldString(u"a b c"_s);
 * engine.setNewString(u"a x c"_s);
 * engine.computeDifferences();
 * engine.matchValue();   // 0.6667
 * engine.differences();  // unchanged "a", changed "b" -> "x", unchanged "c"
 * @endcode
 *
 * A side that was never set reads as the empty text, so computing before both texts were given
 * compares against nothing. An engine has no shared state: each thread may use its own.
 *
 * Tokenising works on the UTF-8 form of a text but scans only as many bytes as the text has
 * UTF-16 code units, so the last bytes of a text with characters beyond ASCII are not compared.
 * Separators after a separator, and punctuation after a dropped separator or at the start,
 * are dropped and make no token.
 */
class QJKITCORE_EXPORT QJDifferenceEngine
{
public:
    /** Comparison type lines, both texts empty, match value 0, no differences. */
    QJDifferenceEngine();
    ~QJDifferenceEngine();
    QJDifferenceEngine(const QJDifferenceEngine &) = delete;
    QJDifferenceEngine &operator=(const QJDifferenceEngine &) = delete;

    /** @return how texts are split (a ComparisonType value, or any other int). */
    int comparisonType() const { return _comparisonType; }
    /** Sets how texts given from now on are split; texts already given keep their tokens. */
    void setComparisonType(int type) { _comparisonType = type; }

    /**
     * @return the new text. A text given in UTF-8 is decoded on the first call, so concurrent calls
     * on one engine must not race with it.
     */
    QString newString() const;
    /** Keeps @p text as the new text and splits it with the current comparison type. */
    void setNewString(const QString &text);
    /** @return the old text (decoded on the first call, as newString()). */
    QString oldString() const;
    /** Keeps @p text as the old text and splits it with the current comparison type. */
    void setOldString(const QString &text);

    /**
     * The same as setNewString(QString::fromUtf8(utf8)), but valid UTF-8 is split from its bytes
     * and decoded only when newString() asks for it: @p utf8 is kept (implicitly shared; raw data
     * must stay valid as long as the engine).
     * @return false when @p utf8 is not valid UTF-8; it is then decoded at once, invalid
     * sequences replaced, and split as setNewString() would.
     */
    bool setNewUtf8(const QByteArray &utf8);
    /** The same as setNewUtf8() for the old text. */
    bool setOldUtf8(const QByteArray &utf8);
    /**
     * setOldUtf8(@p oldUtf8) and setNewUtf8(@p newUtf8), the two texts split side by side on two
     * threads when they are long.
     * @return whether both were valid UTF-8.
     */
    bool setUtf8Strings(const QByteArray &oldUtf8, const QByteArray &newUtf8);

    /** Computes the match value only; differences() keeps what it held. */
    void computeMatchValueOnly();
    /** Computes the differences and the match value. */
    void computeDifferences();
    /**
     * Compares the texts' tokens. When @p detailed, differences() is replaced by one DiffObject
     * per run; otherwise it keeps what it held. The match value is always recomputed: unchanged
     * ÷ (changed × 0.5 + unchanged) in single precision, counting unchanged tokens once and changed
     * tokens on both sides; with no tokens at all it is 0 ÷ 0, not a number.
     */
    void computeDifferencesDetailled(bool detailed);

    /**
     * Compares the texts as computeDifferences() does, but lists the runs without building their
     * strings (see QJDiffRun), for writing out long comparisons. The match value is recomputed;
     * differences() keeps what it held.
     */
    QList<QJDiffRun> computeRuns();

    /**
     * @return the runs of the last detailed computation (an empty list before the first one).
     * The list is implicitly shared: returning it copies nothing.
     */
    QList<DiffObject> differences() const { return _differences; }
    /** @return the match value of the last computation (0 before the first one). */
    float matchValue() const { return _matchValue; }

private:
    int _comparisonType = ComparisonLines;
    QList<DiffObject> _differences;
    std::unique_ptr<DiffEngine> engine;
    float _matchValue = 0;
    // One text of the comparison. A text given in UTF-8 is kept in that form until its string is
    // asked for.
    struct Side
    {
        mutable QString string;
        mutable QByteArray utf8;
        mutable bool pending = false;
        std::unique_ptr<QJDiffTokens> tokens;
        bool isNew;
    };
    QString text(const Side &side) const;
    void setText(Side &side, const QString &text);
    bool setUtf8(Side &side, const QByteArray &utf8);
    // Hands the side's tokens to the engine, as its "from" or its "to" sequence.
    void tokensChanged(const Side &side);

    Side _old;
    Side _new;
};
