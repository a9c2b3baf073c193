#pragma once

#include "port-follow.h"
#include "table.h"

#include <optional>
#include <string>
#include <vector>

namespace orvadctl
{

/// What is known of ports, as a table for a terminal. A row for each port that
/// was ever listed or announced anything, by number.
class PortTable
{
public:
	/// How long a change counts as just made.
	static constexpr gint64 MARK_US = 2 * G_USEC_PER_SEC;

	struct View {
		std::size_t columns;
		std::size_t rows;
		gint64 now_us; ///< Of the monotonic clock.
		bool colour;
		std::string status; ///< A last line, if any. Not escaped.
	};

	/// These ports are in service, and no others. What was announced for a
	/// port holds until it is listed otherwise than before: a simulated
	/// change is not listed.
	void list(const std::vector<Port> &ports);
	/// Nothing is known of the ports any more.
	void lose();
	/// @param name as far as it is known.
	void take(const Announced &announced, const std::string &name);

	/// When the next mark of a change is due to go, of the monotonic clock;
	/// none: there are no marks.
	std::optional<gint64> next_change_us(gint64 now_us) const;

	/// The table, cut to the view; no line break at the end.
	std::string text(const View &view) const;

private:
	enum class Service { IN, OUT, UNKNOWN };

	struct Row {
		Port port; ///< As announced or listed last.
		Service service = Service::IN;
		std::optional<Port> listed; ///< While in service.
		guint64 changes = 0;
		DateTimePtr changed; ///< Null: not yet.
		gint64 changed_us = 0;
		std::string note; ///< What else there is to the change.
	};

	Row &add_row(const Port &port);
	Row *find_listed(const Port &port);
	Row &row_of(gint32 number, const std::string &name);
	static void list_row(Row &row, const Port &port);
	static bool marked(const Row &row, gint64 now_us);
	static Cell state_of(const Row &row);
	static std::vector<Cell> cells(const Row &row, gint64 now_us);

	std::vector<Row> rows_; ///< By number.
};

} // namespace orvadctl
