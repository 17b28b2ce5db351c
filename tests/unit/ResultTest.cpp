#include <kyv_common_stable/Result.h>

#include <QByteArray>

#include <gtest/gtest.h>

#include <cstring>

using kyv::Error;
using kyv::ErrorCode;
using kyv::Result;

namespace {

/// Overrides every hook in its declared order and notes which one ran.
class HookRecorder : public kyv::Warnings
{
public:
    QList<QString> calls;

protected:
    void addWarningInternal(const QString &) override { calls << QStringLiteral("add"); }
    void addWarningsInternal(const QList<QString> &) override { calls << QStringLiteral("adds"); }
    void clearWarningsInternal() override { calls << QStringLiteral("clear"); }
    void resetWarningInternal(const QString &) override { calls << QStringLiteral("reset"); }
    void resetWarningsInternal(const QList<QString> &) override
    {
        calls << QStringLiteral("resets");
    }
};

Error errorWithWarning()
{
    Error error(ErrorCode::InvalidInput, QStringLiteral("broken"));
    error.addWarning(QStringLiteral("first"));
    return error;
}

} // namespace

TEST(WarningsTest, everyChangePassesThroughItsHook)
{
    HookRecorder recorder;
    kyv::Warnings &warnings = recorder;
    warnings.addWarning(QStringLiteral("w"));
    warnings.addWarnings({});
    warnings.clearWarnings();
    warnings.resetWarning(QStringLiteral("w"));
    warnings.resetWarnings({});
    EXPECT_EQ(recorder.calls, QList<QString>({QStringLiteral("add"), QStringLiteral("adds"),
                                              QStringLiteral("clear"), QStringLiteral("reset"),
                                              QStringLiteral("resets")}));
    EXPECT_TRUE(warnings.warnings().isEmpty());
}

#if defined(__GXX_ABI_VERSION)
TEST(WarningsTest, slotsFollowTheirDeclaredOrder)
{
    // The Itanium ABI gives the destructor two slots, then one each in order of declaration. The
    // table is read straight from the object: the order is part of the binary interface.
    HookRecorder recorder;
    using Slot = void (*)(kyv::Warnings *, const void *);
    Slot *table = nullptr;
    std::memcpy(&table, static_cast<const void *>(&recorder), sizeof(table));
    const QString text;
    const QList<QString> texts;
    table[2](&recorder, &text);
    table[3](&recorder, &texts);
    table[4](&recorder, nullptr);
    table[5](&recorder, &text);
    table[6](&recorder, &texts);
    EXPECT_EQ(recorder.calls, QList<QString>({QStringLiteral("add"), QStringLiteral("adds"),
                                              QStringLiteral("clear"), QStringLiteral("reset"),
                                              QStringLiteral("resets")}));
}
#endif

TEST(ResultTest, valueStartsWithoutWarnings)
{
    const Result<int> result(7);
    EXPECT_TRUE(result.hasValue());
    EXPECT_EQ(result.value(), 7);
    EXPECT_TRUE(result.warnings().isEmpty());
}

TEST(ResultTest, errorBringsItsWarnings)
{
    const Result<int> result(errorWithWarning());
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().message(), QStringLiteral("broken"));
    EXPECT_EQ(result.warnings(), QList<QString>({QStringLiteral("first")}));
    EXPECT_EQ(result.warnings(), result.error().warnings());
}

TEST(ResultTest, codeAloneGivesAnErrorWithoutWarnings)
{
    const Result<QByteArray> result(ErrorCode::InconsistentData);
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error().code(), ErrorCode::InconsistentData);
    EXPECT_TRUE(result.error().message().isEmpty());
    EXPECT_TRUE(result.warnings().isEmpty());
}

TEST(ResultTest, everyWarningChangeReachesTheHeldError)
{
    Result<int> result(errorWithWarning());
    const auto expectBoth = [&result](const QList<QString> &expected) {
        EXPECT_EQ(result.warnings(), expected);
        EXPECT_EQ(result.error().warnings(), expected);
    };
    result.addWarning(QStringLiteral("second"));
    expectBoth({QStringLiteral("first"), QStringLiteral("second")});
    result.addWarnings({QStringLiteral("third")});
    expectBoth({QStringLiteral("first"), QStringLiteral("second"), QStringLiteral("third")});
    result.resetWarning(QStringLiteral("only"));
    expectBoth({QStringLiteral("only")});
    result.resetWarnings({QStringLiteral("x"), QStringLiteral("y")});
    expectBoth({QStringLiteral("x"), QStringLiteral("y")});
    result.clearWarnings();
    expectBoth({});
}

// Warnings that are passed in may be the result's own.
TEST(ResultTest, ownWarningsReachTheHeldErrorAsTheyWere)
{
    const QList<QString> both{QStringLiteral("a warning that is long enough"),
                              QStringLiteral("and one more of its kind")};
    Result<int> result{Error(ErrorCode::InvalidInput, QStringLiteral("text"))};
    result.addWarnings(both);
    result.addWarnings(result.warnings());
    EXPECT_EQ(result.warnings(), both + both);
    EXPECT_EQ(result.error().warnings(), both + both);
    result.resetWarning(result.warnings().last());
    EXPECT_EQ(result.warnings(), both.mid(1));
    EXPECT_EQ(result.error().warnings(), both.mid(1));
    for (int i = 0; i < 100; ++i)
        result.addWarning(result.warnings().first());
    EXPECT_EQ(result.warnings(), QList<QString>(101, both.last()));
    EXPECT_EQ(result.error().warnings(), result.warnings());
    result.resetWarnings(result.warnings());
    EXPECT_EQ(result.error().warnings(), result.warnings());
}

TEST(ResultTest, aValueHasNoErrorToUpdate)
{
    Result<int> result(errorWithWarning());
    result = Result<int>(3);
    EXPECT_TRUE(result.warnings().isEmpty());
    result.addWarning(QStringLiteral("late"));
    EXPECT_EQ(result.value(), 3);
    EXPECT_EQ(result.warnings(), QList<QString>({QStringLiteral("late")}));
}

TEST(ResultTest, movesByteArraysOutWithoutACopy)
{
    const QByteArray bytes(1000, 'x');
    const char *const storage = bytes.constData();
    Result<QByteArray> result(bytes);
    const QByteArray taken = std::move(result).value();
    EXPECT_EQ(taken.constData(), storage);
}

#if !defined(QT_NO_DEBUG) || defined(QT_FORCE_ASSERTS)
TEST(ResultDeathTest, askingAFailedResultForItsValueIsCaught)
{
    const Result<int> failed(ErrorCode::InvalidInput);
    EXPECT_DEATH((void)failed.value(), "the result holds an error");
    const Result<int> good(1);
    EXPECT_DEATH((void)good.error(), "the result holds a value");
}
#endif
