#pragma once

#include <QtGlobal>

QT_BEGIN_NAMESPACE
class QLoggingCategory;
QT_END_NAMESPACE

namespace kyv::compressor {

/// The category "kyv.ms_compressor", enabled from critical messages; made on first use.
const QLoggingCategory &msCompressorCategory();

/// Looks \a name up in the process-wide registry of logging categories.
///
/// The first lookup makes the registry and, with its \a level, the category "kyv.generic". A name
/// that is not there is made with \a level if \a create is true, else "kyv.generic" stands in for
/// it. Categories live until the process ends. The registry itself is made under thread-safe
/// one-time initialisation; a lookup that makes a category belongs to load time, when one thread
/// runs.
QLoggingCategory &loggingCategory(const char *name, QtMsgType level, bool create);

} // namespace kyv::compressor
