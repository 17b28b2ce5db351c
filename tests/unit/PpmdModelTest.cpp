// The seldom paths of the model on contexts that are built by hand.

#include "internal/PpmdModel.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace kyv::compressor::internal;
using ppmd::Context;
using ppmd::StateArray;

struct State
{
    quint8 symbol;
    quint8 freq;
    quint32 successor = 0;

    bool operator==(const State &) const = default;
};

class PpmdModelTest : public testing::Test
{
protected:
    Context *makeContext(const std::vector<State> &states, quint16 summFreq, quint8 flags = 0)
    {
        const auto numStats = quint8(states.size() - 1);
        Context *c = model.context(model.units.allocateContext());
        const quint32 array = model.units.allocate(ppmd::statsToIndex[numStats]);
        *c = {numStats, flags, summFreq, array, model.units.offsetOf(model.root)};
        const StateArray all = model.states(c);
        for (int i = 0; i < int(states.size()); ++i) {
            all.symbols[i] = states[size_t(i)].symbol;
            all.freqs[i] = states[size_t(i)].freq;
            all.successors[i] = states[size_t(i)].successor;
        }
        return c;
    }

    std::vector<State> statesOf(const Context *c) const
    {
        const StateArray all = model.states(c);
        std::vector<State> states;
        for (int i = 0; i <= c->numStats; ++i)
            states.push_back({all.symbols[i], all.freqs[i], all.successors[i]});
        return states;
    }

    /// Leaves no unit and no text to be had.
    void exhaust()
    {
        for (int index = ppmd::indexCount - 1; index >= 0; --index) {
            while (model.units.allocate(index) != 0) {
            }
        }
        while (model.units.unitsStart() - model.units.text() > 1)
            model.units.appendText(0);
    }

    ppmd::StateRef rescale(Context *c, int found)
    {
        return model.rescale(c, found, PortableScan::halve);
    }

    PpmdModel model{ModelMemory::start(1), 2};
};

TEST_F(PpmdModelTest, start)
{
    EXPECT_EQ(model.runLength, -2);
    EXPECT_EQ(model.initialRunLength, -2);
    EXPECT_EQ(model.orderFall, 2);
    EXPECT_EQ(model.previousSuccess, 0u);
    EXPECT_EQ(model.root->numStats, 255);
    EXPECT_EQ(model.root->flags, 0);
    EXPECT_EQ(model.root->summFreq, 257);
    EXPECT_EQ(model.root->suffix, 0u);
    const std::vector<State> states = statesOf(model.root);
    for (size_t i = 0; i < 256; ++i)
        EXPECT_EQ(states[i], (State{quint8(i), 1, 0})) << i;
    // The root's context at the top of the block, its 128 units at the bottom of the units.
    EXPECT_EQ(model.units.offsetOf(model.root), 1048576u + 1 - 12);
    EXPECT_EQ(model.root->stats, model.units.unitsStart());
    EXPECT_EQ(model.units.usedMemory(), 129u * 12);
}

TEST_F(PpmdModelTest, runLengthStartsNoLowerThan13)
{
    EXPECT_EQ(PpmdModel(ModelMemory::start(1), 13).runLength, -13);
    EXPECT_EQ(PpmdModel(ModelMemory::start(1), 16).runLength, -13);
}

TEST_F(PpmdModelTest, restartForgetsEverything)
{
    model.root->summFreq = 999;
    model.runLength = 7;
    model.orderFall = 0;
    model.binSumm[3][3] = 1;
    model.seeContexts[3][3].summ = 1;
    Context *root = model.restart();
    EXPECT_EQ(root, model.root);
    EXPECT_EQ(root->summFreq, 257);
    EXPECT_EQ(model.runLength, -2);
    EXPECT_EQ(model.orderFall, 2);
    EXPECT_EQ(model.binSumm[3][3], ppmd::initialBinaryTable[3][3]);
    EXPECT_EQ(model.seeContexts[3][3].summ, 232);
    EXPECT_EQ(model.events().restarts, 1);
}

// The escape had 200 - 186 = 14; the state that drops out adds 1. Of 62 + 30 and (15 + 1) / 2 the
// sum is 100. A = 200 - 15 = 185, B = 185 - 125 = 60, and the boost
// (100 * 125 - 62 * 185 - 1 + 60) / 60 = 18.
TEST_F(PpmdModelTest, rescaleDropsRareStatesInTheLongestContexts)
{
    model.orderFall = 0;
    Context *c = makeContext({{1, 125, 11}, {2, 60, 12}, {3, 1, 13}}, 200);
    const quint32 oldArray = c->stats;
    const ppmd::StateRef found = rescale(c, 0);
    EXPECT_EQ(statesOf(c), (std::vector<State>{{1, 62 + 18, 11}, {2, 30, 12}}));
    EXPECT_EQ(c->summFreq, 100 + 18);
    EXPECT_EQ(c->flags, ppmd::boostedFlag);
    EXPECT_EQ(*found.freq, 80);
    EXPECT_EQ(*found.successor, 11u);
    EXPECT_NE(c->stats, oldArray); // from 2 units to 1
    EXPECT_EQ(model.units.freeCount(1), 1u);
}

TEST_F(PpmdModelTest, rescaleKeepsEveryStateElsewhere)
{
    model.orderFall = 1;
    Context *c = makeContext({{1, 125}, {2, 60}, {3, 1}}, 200);
    rescale(c, 0);
    // 63 + 30 + 1 + (14 + 1) / 2 = 101; A = 186, B = 61; (101 * 125 - 63 * 186 - 1 + 61) / 61 = 15.
    EXPECT_EQ(statesOf(c), (std::vector<State>{{1, 63 + 15}, {2, 30}, {3, 1}}));
    EXPECT_EQ(c->summFreq, 101 + 15);
}

TEST_F(PpmdModelTest, aBoostedContextGetsTheSmallBoost)
{
    model.orderFall = 0;
    Context *c = makeContext({{1, 125}, {2, 60}}, 200, ppmd::boostedFlag);
    rescale(c, 0);
    EXPECT_EQ(statesOf(c), (std::vector<State>{{1, 62 + 2}, {2, 30}}));
}

TEST_F(PpmdModelTest, rescaleMovesTheFoundStateToTheFrontAndSortsTheRest)
{
    model.orderFall = 1;
    Context *c = makeContext({{1, 20, 11}, {2, 40, 12}, {3, 40, 13}, {4, 125, 14}}, 300);
    const ppmd::StateRef found = rescale(c, 3);
    const std::vector<State> states = statesOf(c);
    EXPECT_EQ(states[0].symbol, 4);
    EXPECT_EQ(states[0].successor, 14u);
    EXPECT_EQ(states[1], (State{2, 20, 12})); // equal ones keep their order
    EXPECT_EQ(states[2], (State{3, 20, 13}));
    EXPECT_EQ(states[3], (State{1, 10, 11}));
    EXPECT_EQ(*found.successor, 14u);
}

TEST_F(PpmdModelTest, longArraysAreSortedLikeShortOnes)
{
    model.orderFall = 1;
    std::vector<State> states;
    for (int i = 0; i < 200; ++i)
        states.push_back({quint8(i), quint8(1 + i * 37 % 121), quint32(1000 + i)});
    states[150].freq = 126;
    std::vector<State> expected = states;
    std::rotate(expected.begin(), expected.begin() + 150, expected.begin() + 151);
    for (State &state : expected)
        state.freq = quint8((state.freq + 1) / 2);
    std::stable_sort(expected.begin(), expected.end(),
                     [](const State &a, const State &b) { return a.freq > b.freq; });
    Context *c = makeContext(states, 20000);
    rescale(c, 150);
    std::vector<State> sorted = statesOf(c);
    sorted[0].freq = expected[0].freq; // has its boost
    EXPECT_EQ(sorted, expected);
}

// Only the first state is left: (2 * 62 + 15 - 1) / 15 = 9, and the array goes back.
TEST_F(PpmdModelTest, rescaleToBinary)
{
    model.orderFall = 0;
    Context *c = makeContext({{70, 125, 11}, {2, 1, 12}}, 140, ppmd::highOriginFlag);
    const ppmd::StateRef found = rescale(c, 0);
    EXPECT_EQ(c->numStats, 0);
    EXPECT_EQ(c->flags, ppmd::highOriginFlag);
    EXPECT_EQ(*c->singleSymbol(), 70);
    EXPECT_EQ(*c->singleFreq(), 9);
    EXPECT_EQ(*c->singleSuccessor(), 11u);
    EXPECT_EQ(found.freq, c->singleFreq());
    EXPECT_EQ(found.successor, c->singleSuccessor());
    EXPECT_EQ(model.units.freeCount(0), 1u);
    EXPECT_EQ(model.events().rescalesToBinary, 1);
}

TEST_F(PpmdModelTest, aBinaryFrequencyStaysAtMost41)
{
    model.orderFall = 0;
    Context *c = makeContext({{70, 125}, {2, 1}}, 127);
    rescale(c, 0); // (2 * 62 + 2 - 1) / 2 = 62
    EXPECT_EQ(*c->singleFreq(), 41);
}

TEST_F(PpmdModelTest, aHighFirstStateLosesTheFlag)
{
    model.orderFall = 1;
    Context *c = makeContext({{200, 125}, {2, 60}}, 200, ppmd::highSymbolFlag);
    rescale(c, 0);
    EXPECT_EQ(c->flags & ppmd::highSymbolFlag, 0);
    Context *other = makeContext({{2, 125}, {200, 60}}, 200);
    rescale(other, 0);
    EXPECT_NE(other->flags & ppmd::highSymbolFlag, 0);
}

TEST_F(PpmdModelTest, rescaleRestartsWhereTheSmallerArrayIsNotToBeHad)
{
    model.orderFall = 0;
    Context *c = makeContext({{1, 125}, {2, 60}, {3, 1}}, 200);
    exhaust();
    EXPECT_FALSE(rescale(c, 0));
    EXPECT_EQ(model.events().restarts, 1);
    EXPECT_EQ(model.root->summFreq, 257);
}

TEST_F(PpmdModelTest, expandKeepsTheStates)
{
    for (int n = 2; n < 256; n += 2) {
        std::vector<State> states;
        for (int i = 0; i < n; ++i)
            states.push_back({quint8(255 - i), quint8(1 + i % 100), quint32(7 * i)});
        PpmdModel fresh(ModelMemory::start(1), 2);
        Context *c = makeContext(states, 1000);
        const quint32 behind = model.units.allocate(0);
        std::fill_n(model.units.at(behind), 12, quint8(0x55));
        ASSERT_TRUE(model.expand(c));
        const StateArray all(model.units.at(c->stats), ppmd::statsToCapacity[size_t(n)]);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ((State{all.symbols[i], all.freqs[i], all.successors[i]}), states[size_t(i)]);
        for (int i = 0; i < 12; ++i)
            ASSERT_EQ(model.units.at(behind)[i], 0x55);
        model.restart();
    }
}

TEST_F(PpmdModelTest, leaveBinary)
{
    const std::pair<int, int> rows[] = {{1, 1}, {11, 21}, {41, 81}, {42, 109}, {196, 109}};
    for (const auto &[freq, expected] : rows) {
        Context *c = model.context(model.units.allocateContext());
        *c = {0, 0, 0, 77, model.units.offsetOf(model.root)};
        *c->singleSymbol() = 5;
        *c->singleFreq() = quint8(freq);
        ASSERT_TRUE(model.leaveBinary(c));
        const StateArray all(model.units.at(c->stats), ppmd::statsToCapacity[1]);
        EXPECT_EQ(all.symbols[0], 5);
        EXPECT_EQ(all.freqs[0], expected);
        EXPECT_EQ(all.successors[0], 77u);
    }
}

} // namespace
