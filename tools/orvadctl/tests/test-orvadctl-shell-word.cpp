#include "orvadctl/shell-word.h"

#include <gtest/gtest.h>

using namespace orvadctl;

TEST(ShellUnquote, TakesQuotesAndBackslashesAway)
{
	const std::pair<const char *, const char *> words[] = {
		{"door", "door"},
		{R"(a\ b\:)", "a b:"},
		{R"("a b)", "a b"},
		{R"("a \"b\" \n$")", R"(a "b" \n$)"},
		{R"('a\"b')", R"(a\"b)"},
		{R"(a"'"'"'b)", R"(a'"b)"},
		{R"(a\)", R"(a\)"},
		{"", ""},
		{"\"", ""},
	};

	for (const auto &[word, text] : words)
		EXPECT_EQ(shell_unquote(word), text) << word;
}

TEST(ShellCompletion, GoesOnFromWhatIsTyped)
{
	EXPECT_EQ(shell_completion("", "door"), "door");
	EXPECT_EQ(shell_completion("do", "door"), "door");
	EXPECT_EQ(shell_completion("door", "door"), "door");
	EXPECT_EQ(shell_completion("dx", "door"), std::nullopt);
	EXPECT_EQ(shell_completion("doors", "door"), std::nullopt);
}

TEST(ShellCompletion, PutsBackslashesBeforeWhatMeansSomething)
{
	EXPECT_EQ(shell_completion("", "a b:c=$x"), R"(a\ b\:c\=\$x)");
	EXPECT_EQ(shell_completion(R"(a\ b)", "a b'c"), R"(a\ b\'c)");
	EXPECT_EQ(shell_completion("T", "Tür_1-2./,+%"), "Tür_1-2./,+%");
}

TEST(ShellCompletion, StaysWithinTheQuoteThatIsOpen)
{
	EXPECT_EQ(shell_completion("\"a", "a b:c"), "a b:c");
	EXPECT_EQ(shell_completion("'a", "a $b"), "a $b");
	EXPECT_EQ(shell_completion("\"a", "a $b"), std::nullopt);
	EXPECT_EQ(shell_completion("'a", "a'b"), std::nullopt);
}

TEST(ShellCompletion, CannotTypeWhatIsNoLineOfText)
{
	for (const char *text : {"a\nb", "a\x1b[2J", "a\x7f", "a\xff"})
		EXPECT_EQ(shell_completion("", text), std::nullopt) << text;
}
