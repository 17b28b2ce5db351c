#include "internal/PatternPredictor.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <vector>

using namespace kyv::compressor::internal;

namespace {

std::vector<Residual> residualsOf(const std::vector<quint64> &patterns)
{
    PatternPredictor predictor;
    std::vector<Residual> residuals;
    for (const quint64 pattern : patterns)
        residuals.push_back(predictor.next(pattern));
    return residuals;
}

void expectLast(const std::vector<quint64> &patterns, PredictorOrder order, quint64 value)
{
    const Residual last = residualsOf(patterns).back();
    EXPECT_EQ(last.order, order);
    EXPECT_EQ(last.value, value);
}

} // namespace

TEST(PatternPredictorTest, orderRisesOneAPoint)
{
    expectLast({1000}, 0, 1000);
    expectLast({1000, 1010}, 1, 10);
    expectLast({1000, 1010, 1021}, 2, 1);
    expectLast({1000, 1010, 1021, 1034}, 3, 1U xor 2U);
    expectLast({1000, 1010, 1021, 1034, 1049}, 3, 0); // 2 xor 2
}

TEST(PatternPredictorTest, descentStartsAgain)
{
    expectLast({1000, 999}, 0, 999);
    expectLast({1000, 1010, 1021, 1034, 1033}, 0, 1033);
}

TEST(PatternPredictorTest, stepOf65536TimesTheLastStartsAgain)
{
    expectLast({10, 11, 11 + 65535}, 2, 65534);
    expectLast({10, 11, 11 + 65536}, 0, 11 + 65536);
    expectLast({1, 1 + 65535}, 1, 65535);
    expectLast({1, 1 + 65536}, 0, 1 + 65536);
}

TEST(PatternPredictorTest, slowerStepFallsToOrder1)
{
    expectLast({1000, 1010, 1019}, 1, 9);
    expectLast({1000, 1010, 1021, 1030}, 1, 9);
}

TEST(PatternPredictorTest, equalPatternsStartAgainAfterAStepOfZero)
{
    expectLast({5, 5}, 1, 0);
    expectLast({5, 5, 5}, 0, 5);
    expectLast({0, 0}, 0, 0);
}

TEST(PatternPredictorTest, zeroResidualCountsAsOneInOrder3)
{
    // Steps 100000, 100004, 100008: changes 4 and 4, so the fourth point leaves 0.
    const std::vector<quint64> patterns{1000000, 1100000, 1200004, 1300012};
    expectLast(patterns, 3, 0);
    std::vector<quint64> near = patterns;
    near.push_back(1300012 + 100008 + (4 ^ 0x8000));
    expectLast(near, 3, 0x8000);
    std::vector<quint64> far = patterns;
    far.push_back(1300012 + 100008 + (4 ^ 0x10000));
    expectLast(far, 2, 0x10004);
}

RC_GTEST_PROP(PatternPredictorTest, restorerUndoesIt, (const std::vector<quint64> &patterns))
{
    PatternPredictor predictor;
    PatternRestorer restorer;
    for (const quint64 pattern : patterns) {
        const Residual residual = predictor.next(pattern);
        RC_ASSERT(restorer.next(residual.order, residual.value) == pattern);
    }
}

RC_GTEST_PROP(PatternPredictorTest, restorerFollowsTheFormula,
              (const std::vector<std::pair<quint8, quint64>> &residuals))
{
    PatternRestorer restorer;
    quint64 h0 = 0, h1 = 0, h2 = 0;
    for (const auto &[code, v] : residuals) {
        const quint64 expected[] = {v, v + h0, v + 2 * h0 - h1,
                                    (v ^ (h0 - 2 * h1 + h2)) + 2 * h0 - h1};
        RC_ASSERT(restorer.next(code & 3, v) == expected[code & 3]);
        h2 = h1;
        h1 = h0;
        h0 = expected[code & 3];
    }
}
