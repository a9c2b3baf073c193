/// Who is refused while many calls wait.

#include "dbus/call-gate.h"

#include <gtest/gtest.h>

namespace
{

constexpr unsigned kMany = 100;

/// How many of so many calls are let in.
unsigned enter(CallGate *gate, const std::string &sender, unsigned calls)
{
	unsigned served = 0;
	for (unsigned i = 0; i < calls; ++i)
		served += gate->enter(sender) ? 1 : 0;
	return served;
}

TEST(CallGateTest, OneSenderMayHaveManyCalls)
{
	CallGate gate(kMany);
	EXPECT_EQ(enter(&gate, ":1.1", kMany), kMany);
	EXPECT_FALSE(gate.enter(":1.1"));
}

TEST(CallGateTest, WhileManyWaitEverybodyMayHaveAFew)
{
	CallGate gate(kMany);
	enter(&gate, ":1.1", kMany + 1);
	EXPECT_EQ(enter(&gate, ":1.2", 100), CallGate::kFew);
	EXPECT_EQ(enter(&gate, ":1.3", 100), CallGate::kFew);
}

TEST(CallGateTest, ARefusedCallWaitsForItsAnswerToo)
{
	CallGate gate(kMany);
	enter(&gate, ":1.1", kMany + 1);
	gate.leave(":1.1");
	EXPECT_FALSE(gate.enter(":1.1"));
	gate.leave(":1.1");
	gate.leave(":1.1");
	EXPECT_TRUE(gate.enter(":1.1"));
}

TEST(CallGateTest, AnAnsweredCallMakesRoom)
{
	CallGate gate(kMany);
	enter(&gate, ":1.1", kMany);
	enter(&gate, ":1.2", CallGate::kFew);
	EXPECT_FALSE(gate.enter(":1.2"));
	for (unsigned i = 0; i < kMany; ++i)
		gate.leave(":1.1");
	EXPECT_TRUE(gate.enter(":1.2"));
}

TEST(CallGateTest, AnAnswerToNobodyChangesNothing)
{
	CallGate gate(kMany);
	gate.leave(":1.9");
	enter(&gate, ":1.1", 1);
	gate.leave(":1.1");
	gate.leave(":1.1");
	EXPECT_EQ(enter(&gate, ":1.1", kMany + 1), kMany);
}

} // namespace
