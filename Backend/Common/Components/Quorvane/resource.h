// Resource numbers; read by the resource compiler too.
#pragma once

#define IDS_PROGRAM_NAME 100
#define IDR_AVCOMMAND 101
