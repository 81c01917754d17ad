// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QLoggingCategory>
#include <QString>

#include <stdexcept>

/**
 * The index that means "not found" wherever QJKit answers an index or a range location.
 */
inline constexpr quint32 QJNotFound = 0x7FFFFFFF;

/**
 * A range of UTF-16 code units (or of any other indexed sequence): a location and a length.
 */
struct QJRange
{
    quint32 location = 0; ///< the index of the first unit
    quint32 length = 0; ///< the number of units

    /** @return the index just past the range, location + length, computed without overflow. */
    constexpr quint64 end() const noexcept { return quint64(location) + length; }
    /** @return whether @p index lies inside the range. */
    constexpr bool contains(quint64 index) const noexcept { return index >= location && index < end(); }

    /** @return whether both ranges have the same location and length. */
    friend constexpr bool operator==(QJRange, QJRange) = default;
};

/** The range answered when nothing was found: location QJNotFound, length 0. */
inline constexpr QJRange QJNotFoundRange {QJNotFound, 0};

/**
 * The logging category "qjkit", in which QJKit writes the few lines it ever logs
 * (refused guarded mutations, failed writes).
 */
QJKITCORE_EXPORT Q_DECLARE_LOGGING_CATEGORY(QJKIT_LOG)

    /**
     * Thrown when a container created immutable is asked to change.
     */
    class QJKITCORE_EXPORT QJImmutableMutationError : public std::logic_error
{
public:
    using std::logic_error::logic_error;
};

namespace QJLog
{
/** Writes @p line as one warning line, exactly as given, in the "qjkit" logging category. */
QJKITCORE_EXPORT void warning(const QString &line);
} // namespace QJLog
