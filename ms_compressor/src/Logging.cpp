// The library's two logging categories. It writes no message through either: they are there for
// the applications that load it and for their users' filter rules.

#include "Logging.h"

#include <QLoggingCategory>

#include <map>
#include <memory>
#include <string>

namespace kyv::compressor {

namespace {

constexpr char genericName[] = "kyv.generic";

/// Categories by name in byte order. The key is also the storage of the name, which a
/// QLoggingCategory does not copy; nodes of a map stay where they are.
using Registry = std::map<std::string, std::unique_ptr<QLoggingCategory>>;

QLoggingCategory &insertCategory(Registry &registry, const char *name, QtMsgType level)
{
    const auto [entry, inserted] = registry.try_emplace(name);
    Q_ASSERT(inserted);
    entry->second = std::make_unique<QLoggingCategory>(entry->first.c_str(), level);
    return *entry->second;
}

/// Nobody deletes it: destructors of static objects may still log through its categories.
Registry *registryWithGeneric(QtMsgType level)
{
    auto *const registry = new Registry;
    insertCategory(*registry, genericName, level);
    return registry;
}

} // namespace

const QLoggingCategory &msCompressorCategory()
{
    static const QLoggingCategory category("kyv.ms_compressor", QtCriticalMsg);
    return category;
}

QLoggingCategory &loggingCategory(const char *name, QtMsgType level, bool create)
{
    static Registry &registry = *registryWithGeneric(level);
    if (const auto found = registry.find(name); found != registry.end())
        return *found->second;
    if (!create)
        return *registry.find(genericName)->second;
    return insertCategory(registry, name, level);
}

} // namespace kyv::compressor
