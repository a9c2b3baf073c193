#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

/// A directory that goes with this.
class TempDir
{
public:
	TempDir()
	{
		auto name = (std::filesystem::temp_directory_path() /
			     "vxevent.XXXXXX")
				    .string();
		EXPECT_NE(mkdtemp(name.data()), nullptr);
		path_ = name;
	}
	~TempDir()
	{
		std::filesystem::remove_all(path_);
	}
	TempDir(const TempDir &) = delete;
	TempDir &operator=(const TempDir &) = delete;

	const std::filesystem::path &path() const
	{
		return path_;
	}

private:
	std::filesystem::path path_;
};
