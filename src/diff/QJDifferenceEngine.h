// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QString>

#include <memory>

class DiffOperation;
class QJDifferenceEnginePrivate;

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
    int comparisonType() const;
    /** Sets how texts given from now on are split; texts already given keep their tokens. */
    void setComparisonType(int type);

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
     * tokens on both sides; with no tokens at all it is 0 ÷ 0, not a number. Either way the runs are
     * kept for QJDifferenceHtml and QJDifferenceJson, which write them out without DiffObjects.
     */
    void computeDifferencesDetailled(bool detailed);

    /**
     * @return the runs of the last detailed computation (an empty list before the first one).
     * The list is implicitly shared: returning it copies nothing.
     */
    QList<DiffObject> differences() const;
    /** @return the match value of the last computation (0 before the first one). */
    float matchValue() const;

private:
    friend class QJDifferenceEnginePrivate;
    std::unique_ptr<QJDifferenceEnginePrivate> d;
};
