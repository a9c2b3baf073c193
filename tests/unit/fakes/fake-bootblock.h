#pragma once

/// A boot block that answers as it is told. Each time it is asked is recorded
/// as "bootblock_read_param(name)".

#include <optional>
#include <string>

namespace fake_bootblock
{

/// The answer from now on; none stands for any failure, as after reset().
void set_answer(const std::optional<std::string> &value);

void reset();

} // namespace fake_bootblock
