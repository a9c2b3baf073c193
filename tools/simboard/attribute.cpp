#include "attribute.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>

namespace simboard
{

namespace
{

constexpr unsigned EVENT = POLLERR | POLLPRI;

/// What sysfs says of every file.
constexpr off_t SHOWN_SIZE = 4096;

bool reads(int flags)
{
	return (flags & O_ACCMODE) != O_WRONLY;
}

bool writes(int flags)
{
	return (flags & O_ACCMODE) != O_RDONLY;
}

} // namespace

class Attribute::Opened : public OpenFile
{
public:
	explicit Opened(std::shared_ptr<Attribute> attribute)
		: attribute_(std::move(attribute))
	{
		attribute_->opened_.insert(this);
	}
	~Opened() override
	{
		attribute_->opened_.erase(this);
	}

	int read(std::size_t size, off_t offset, std::string &data) override;
	int write(std::string_view data, pid_t process) override;
	unsigned poll() override;

	using OpenFile::ready;

private:
	std::shared_ptr<Attribute> attribute_;
	unsigned seen_ = 0;
};

int Attribute::Opened::read(std::size_t size, off_t offset, std::string &data)
{
	if (attribute_->removed())
		return ENODEV;
	// Each read makes the text anew, which is what acknowledges the events
	// so far, even when it fails (kernfs_file_read_iter).
	seen_ = attribute_->events_;
	std::string text;
	int error = attribute_->show_(text);
	if (error != 0)
		return error;
	if (offset >= 0 && static_cast<std::size_t>(offset) < text.size())
		data = text.substr(static_cast<std::size_t>(offset), size);
	return 0;
}

int Attribute::Opened::write(std::string_view data, pid_t process)
{
	if (attribute_->removed())
		return ENODEV;
	// The kernel's functions take the text as a C string.
	return attribute_->store_(data.substr(0, data.find('\0')), process);
}

unsigned Attribute::Opened::poll()
{
	// Of a removed file there is always news (kernfs_fop_poll).
	bool news = attribute_->removed() || seen_ != attribute_->events_;

	return news ? USUAL_POLL | EVENT : USUAL_POLL;
}

Attribute::Attribute(mode_t permissions, Show show, Store store)
	: File(permissions), show_(std::move(show)), store_(std::move(store))
{
}

off_t Attribute::size() const
{
	return SHOWN_SIZE;
}

void Attribute::wake_all()
{
	for (Opened *opened : opened_)
		opened->ready();
}

void Attribute::notify()
{
	++events_;
	wake_all();
}

void Attribute::remove()
{
	File::remove();
	wake_all();
}

int Attribute::open(int flags, const std::shared_ptr<File> &self,
		    std::unique_ptr<OpenFile> &opened)
{
	if (removed())
		return ENODEV;
	// Permissions do not hold root back; this does (kernfs_fop_open).
	if ((reads(flags) && !show_) || (writes(flags) && !store_))
		return EACCES;
	opened = std::make_unique<Opened>(
		std::static_pointer_cast<Attribute>(self));
	return 0;
}

std::string_view trim_line(std::string_view text)
{
	if (text.ends_with('\n'))
		text.remove_suffix(1);
	return text;
}

int parse_number(std::string_view text, long &number)
{
	std::string digits(trim_line(text));
	char *end = nullptr;

	// strtol() also skips blanks, which the kernel does not.
	if (digits.empty() || isspace(static_cast<unsigned char>(digits[0])))
		return EINVAL;
	errno = 0;
	number = strtol(digits.c_str(), &end, 0);
	if (end != digits.c_str() + digits.size())
		return EINVAL;
	return errno;
}

} // namespace simboard
