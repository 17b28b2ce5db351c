#pragma once

#include <kyv_common_stable/Result.h>

#include <QByteArray>
#include <QList>
#include <QPointF>

// What holds for every list of points and every payload, as plain functions that tests and fuzzers
// share.

namespace kyv::test {

/// True if \a error is the one that the codec raises, at its recorded place.
bool isInconsistentData(const Error &error);

/// True if the codec and the reference read \a payload alike, the same value or both the error;
/// fast enough for millions of payloads.
bool readersAgree(const QByteArray &payload);

/// The name of the first property that \a points fail, or nothing. The literal writer is asked for
/// lists of up to \a literalLimit points; its merging takes the square of their number.
const char *failedProperty(const QList<QPointF> &points, qsizetype literalLimit);

} // namespace kyv::test
