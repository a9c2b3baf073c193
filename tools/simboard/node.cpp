#include "node.h"

#include <cerrno>
#include <utility>

namespace simboard
{

namespace
{

std::uint64_t next_number()
{
	static std::uint64_t last = 0;

	return ++last;
}

} // namespace

Node::Node(mode_t file_mode) : number(next_number()), mode(file_mode)
{
}

NodePtr Folder::find(const std::string &name) const
{
	auto place = children_.find(name);

	return place == children_.end() ? nullptr : place->second;
}

void Folder::drop(const std::string &name)
{
	auto child = children_.extract(name);

	if (child)
		child.mapped()->remove();
}

int Folder::make_child(const std::string &, pid_t)
{
	return EPERM;
}

int Folder::remove_child(const std::string &, pid_t)
{
	return EPERM;
}

void Folder::remove()
{
	Node::remove();
	for (auto &[name, child] : std::exchange(children_, {}))
		child->remove();
}

std::shared_ptr<Folder> make_folders(const std::shared_ptr<Folder> &root,
				     const std::string &path)
{
	std::shared_ptr<Folder> folder = root;
	std::size_t start = 0;

	while (start < path.size()) {
		std::size_t end = std::min(path.find('/', start), path.size());
		std::string name = path.substr(start, end - start);
		NodePtr child = folder->find(name);
		if (!child)
			child = folder->add(name, std::make_shared<Folder>());
		folder = std::static_pointer_cast<Folder>(child);
		start = end + 1;
	}
	return folder;
}

void OpenFile::ioctl(const IoctlCall &, const IoctlDone &done)
{
	done(ENOTTY, 0, "");
}

void OpenFile::ready()
{
	// Whoever is woken asks again, and says then where to find it.
	if (auto wake = std::exchange(wake_, nullptr))
		wake();
	if (wake_readers_)
		wake_readers_();
}

} // namespace simboard
