// The diagnostic log: one line a call, at three levels, to the debugger output and to the text file "logstt.txt".
//
// The state (switch, file, time of the last flush) belongs to the process and is shared by all objects without a lock. Both sinks
// are off until an object is made while the machine's log switch asks for them: bit 0 the debugger, bit 1 the file. With the
// switch at 0 a call costs one comparison. The file is flushed by the first line that comes more than 2000 ms after the last
// flush, so a crash loses about two seconds of lines at most.
#pragma once

namespace vorin {

// printf-style; a line of 256 bytes or more is dropped (on Windows the C runtime reports it as the caller's fault).
[[gnu::format(printf, 1, 2)]] void sttLogError(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void sttLogInfo(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void sttLogVerbose(const char* format, ...);

// Takes over the machine's log switch and, if it asks for a file, opens it anew. Failures are silent: without a switch logging
// stays as it was, and a folder or file that cannot be used turns all of it off.
void openLog();

// Closes the file, for every object of the process; the switch stays as it is.
void closeLog();

} // namespace vorin
