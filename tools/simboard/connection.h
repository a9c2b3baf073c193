#pragma once

/// One client of the control socket.

#include "reply.h"
#include "util/scoped-source.h"
#include "util/unique-fd.h"

#include <memory>

namespace simboard
{

class Control;

/// Answers one request after the other. What a client does not read is kept for
/// it, up to a limit; whatever goes wrong ends the connection and nothing else.
class Connection : public std::enable_shared_from_this<Connection>
{
public:
	/// @param control owns this, and must outlive it.
	Connection(Control &control, util::UniqueFd socket);
	Connection(const Connection &) = delete;
	Connection &operator=(const Connection &) = delete;

	void start();

private:
	static gboolean on_input(gint, GIOCondition condition,
				 gpointer connection);
	static gboolean on_output(gint, GIOCondition, gpointer connection);

	void watch();
	void receive();
	void run_requests();
	void run_request(const std::string &line);
	bool answer(const std::string &text, bool last);
	void send_waiting();
	void end();

	Control &control_;
	util::UniqueFd socket_;
	util::ScopedSource input_;
	util::ScopedSource output_;
	std::string received_;
	std::string waiting_;  ///< To be sent.
	bool busy_ = false;    ///< A request is being answered.
	bool closing_ = false; ///< Ends when everything has been sent.
};

} // namespace simboard
