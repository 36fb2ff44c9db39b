#pragma once

/// Where the log settings of this machine come from, and the switch that applies them. Windows only.
///
/// HKEY_LOCAL_MACHINE\Software\Orbell\Logging, values `LogFile` (REG_SZ or REG_EXPAND_SZ, the file to append to) and
/// `Levels` (REG_DWORD mask, default all). The environment variables ORBELL_LOG_FILE and ORBELL_LOG_LEVELS (decimal,
/// or hexadecimal with 0x) win over the registry, each on its own. No file name means no logging.
namespace LogSettings
{
/// Reads the settings anew and opens, keeps or closes the log file accordingly. Called whenever a client asks for the
/// class object, so that a change takes effect with the next object that is created. Never called from DllMain.
void Apply() noexcept;
} // namespace LogSettings
