#include "simboard/circuit.h"

#include <gtest/gtest.h>

using namespace simboard;

namespace
{

constexpr auto CLOSED = LoopWiring::NORMALLY_CLOSED;
constexpr auto OPEN = LoopWiring::NORMALLY_OPEN;

unsigned level(const Circuit &circuit, LoopState state)
{
	return level_of(circuit, resistance_of(circuit, state));
}

} // namespace

TEST(Circuit, TheUsualOneHasItsStatesFarApart)
{
	for (LoopWiring wiring : {CLOSED, OPEN}) {
		Circuit circuit = usual_circuit(wiring);
		EXPECT_EQ(level(circuit, LoopState::SHORT), 0u);
		EXPECT_EQ(level(circuit, LoopState::CLOSED), 85u);
		EXPECT_EQ(level(circuit, LoopState::OPEN), 170u);
		EXPECT_EQ(level(circuit, LoopState::CUT), 255u);
	}
}

// The levels beside the circuits were worked out by hand from the divider.

TEST(Circuit, ANormallyClosedContactShortsItsResistor)
{
	struct {
		Circuit circuit;
		unsigned closed, open;
	} const cases[] = {
		{{CLOSED, 10000, 2200, 4700}, 46, 104}, // 45.98, 104.11
		{{CLOSED, 4700, 4700, 4700}, 128, 170}, // 127.5
		{{CLOSED, 1000, 1, 10000000}, 0, 255},  // 0.25, 254.97
		{{CLOSED, 1, 5600, 1}, 255, 255},       // 254.95
		{{CLOSED, 3300, 1500, 1500}, 80, 121},  // 79.69, 121.43
	};

	for (auto &[circuit, closed, open] : cases) {
		EXPECT_EQ(level(circuit, LoopState::CLOSED), closed);
		EXPECT_EQ(level(circuit, LoopState::OPEN), open);
		EXPECT_EQ(level(circuit, LoopState::SHORT), 0u);
		EXPECT_EQ(level(circuit, LoopState::CUT), 255u);
	}
}

TEST(Circuit, ANormallyOpenContactAddsItsResistorAlongside)
{
	struct {
		Circuit circuit;
		unsigned closed, open;
	} const cases[] = {
		{{OPEN, 1000, 1000, 1000}, 85, 128},     // 500 ohms; 127.5
		{{OPEN, 10000, 10000, 4700}, 62, 128},   // 3197.28: 61.78
		{{OPEN, 10000000, 10000000, 1}, 0, 128}, // 1 ohm
	};

	for (auto &[circuit, closed, open] : cases) {
		EXPECT_EQ(level(circuit, LoopState::CLOSED), closed);
		EXPECT_EQ(level(circuit, LoopState::OPEN), open);
		EXPECT_EQ(level(circuit, LoopState::SHORT), 0u);
		EXPECT_EQ(level(circuit, LoopState::CUT), 255u);
	}
}

TEST(Circuit, RoundsHalfUp)
{
	Circuit circuit = usual_circuit(CLOSED);

	circuit.pull_up = 509; // 255 / 510 is a half.
	EXPECT_EQ(level_of(circuit, {1, 1}), 1u);
	circuit.pull_up = 510;
	EXPECT_EQ(level_of(circuit, {1, 1}), 0u);
}

TEST(Circuit, NoLevelIsMoreThanHalfAStepOff)
{
	Circuit circuit = usual_circuit(CLOSED);

	for (unsigned pull_up : {1u, 470u, 4700u, MOST_OHMS})
		for (std::uint64_t ohms : {0u, 1u, 219u, 4699u, MOST_OHMS}) {
			circuit.pull_up = pull_up;
			auto level =
				std::uint64_t{level_of(circuit, {ohms, 1})};
			std::uint64_t whole = ohms + pull_up;
			EXPECT_LE(2 * level * whole, 510 * ohms + whole);
			EXPECT_GT(2 * level * whole + whole, 510 * ohms);
		}
}

TEST(Circuit, HalfWayFromClosedToOpenAPlainInputChanges)
{
	// 1000 closed, 4000 open.
	EXPECT_FALSE(seems_open(usual_circuit(CLOSED), 0));
	EXPECT_FALSE(seems_open(usual_circuit(CLOSED), 2500));
	EXPECT_TRUE(seems_open(usual_circuit(CLOSED), 2501));
	EXPECT_TRUE(seems_open(usual_circuit(CLOSED), MOST_OHMS));
	// 500 closed, 1000 open.
	EXPECT_FALSE(seems_open({OPEN, 2000, 1000, 1000}, 750));
	EXPECT_TRUE(seems_open({OPEN, 2000, 1000, 1000}, 751));
}
