#include "show.h"

#include "client.h"
#include "error.h"
#include "picture.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace simboard
{

namespace
{

constexpr const char *CLEAR = "\033[H\033[2J";
/// A picture that changes faster cannot be read.
constexpr gulong REDRAW_PAUSE_US = 50000;

/// Ctrl-C is the way to end what goes on for ever, not a failure.
void end_with_user()
{
	signal(SIGINT, [](int) { _exit(0); });
}

bool draw(Client &client, bool live, GError **error)
{
	std::vector<std::string> rows;
	bool colour = live && !g_getenv("NO_COLOR");

	if (!client.ask({"state"}, rows, error))
		return false;
	std::string picture = board_picture(rows, colour);
	printf("%s%s", live ? CLEAR : "", picture.c_str());
	fflush(stdout);
	return true;
}

/// Waits for a change, and takes those that come until the pause is over.
bool wait_for_changes(Client &changes, GError **error)
{
	std::string line;

	do {
		if (!changes.next_line(line, error))
			return false;
		if (!changes.has_line())
			g_usleep(REDRAW_PAUSE_US);
	} while (changes.has_line());
	return true;
}

} // namespace

bool print_answer(const std::string &socket,
		  const std::vector<std::string> &words, GError **error)
{
	Client client;
	std::string line;
	GError *reason = nullptr;

	if (!client.connect(socket, error) || !client.send(words, error))
		return false;
	if (words[0] == "follow")
		end_with_user();
	while (client.next_line(line, &reason)) {
		printf("%s\n", line.c_str());
		if (!client.has_line())
			fflush(stdout);
	}
	if (!reason)
		return true;
	g_propagate_error(error, reason);
	return false;
}

bool show_board(const std::string &socket, bool live, GError **error)
{
	Client client, changes;

	if (!client.connect(socket, error))
		return false;
	if (!live)
		return draw(client, live, error);
	end_with_user();
	if (!changes.connect(socket, error) ||
	    !changes.send({"follow", std::to_string(G_MAXUINT64)}, error))
		return false;
	do {
		if (!draw(client, live, error))
			return false;
	} while (wait_for_changes(changes, error));
	return false;
}

} // namespace simboard
