#pragma once

/// A locale that writes numbers with a decimal comma, for as long as it lives.
/// It is made from the sources that the package "locales" brings, since a
/// build machine need not have one installed.

#include "temp-dir.h"

#include <clocale>
#include <cstdio>

class CommaLocale
{
public:
	CommaLocale()
	{
		const std::string path = dir_.file("de_DE.UTF-8");
		const char *argv[] = {"localedef", "-i",         "de_DE", "-f",
				      "UTF-8",     path.c_str(), nullptr};
		util::Error error;
		g_spawn_sync(nullptr, const_cast<char **>(argv), nullptr,
			     G_SPAWN_SEARCH_PATH, nullptr, nullptr, nullptr,
			     nullptr, nullptr, &error);
		EXPECT_FALSE(error) << error.message();
		g_setenv("LOCPATH", dir_.file("").c_str(), TRUE);
		EXPECT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
		EXPECT_STREQ(localeconv()->decimal_point, ",");
	}
	~CommaLocale()
	{
		setlocale(LC_ALL, "C");
		g_unsetenv("LOCPATH");
	}
	CommaLocale(const CommaLocale &) = delete;
	CommaLocale &operator=(const CommaLocale &) = delete;

private:
	TempDir dir_;
};
