#pragma once

#include <glib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder that is removed with its owner.
class TempFolder
{
public:
	TempFolder()
	{
		char *path = g_dir_make_tmp("ugpio-XXXXXX", nullptr);
		path_ = path;
		g_free(path);
	}
	~TempFolder()
	{
		std::filesystem::remove_all(path_);
	}
	TempFolder(const TempFolder &) = delete;
	TempFolder &operator=(const TempFolder &) = delete;

	std::filesystem::path operator/(const std::string &name) const
	{
		return path_ / name;
	}
	std::string path() const
	{
		return path_;
	}

private:
	std::filesystem::path path_;
};

inline void write_text(const std::filesystem::path &path,
		       const std::string &text)
{
	std::filesystem::create_directories(path.parent_path());
	std::ofstream(path) << text;
}

inline std::string read_text(const std::filesystem::path &path)
{
	std::ifstream file(path);
	return {std::istreambuf_iterator<char>(file), {}};
}
