#pragma once

/// Takes the place of the clock for the keep-alive: a beat comes when the session wants one, on a thread of the
/// system's pool as ever, and ends before the session goes on.
namespace KeepAliveDriver
{
/// Puts itself between the hooks and the system. Once, before the import table is changed.
void Install();
/// One beat of the newest timer; false when there is none, or when the beat does not end in time.
bool Beat();
} // namespace KeepAliveDriver
