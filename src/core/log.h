// The diagnostic log: one line a call, at three levels, to the debugger output and to the text file "logstt.txt".
//
// The state (switch, file, time of the last flush) belongs to the process and is shared by all objects without a lock. Both sinks
// are off until an object is made while the machine's log switch asks for them: bit 0 the debugger, bit 1 the file. With the
// switch at 0 a call costs one comparison. The file is flushed by the first line that comes more than 2000 ms after the last
// flush, so a crash loses about two seconds of lines at most.
#pragma once

#include <initializer_list>
#include <string_view>

namespace vorin {

// printf-style. A line of 256 bytes or more is the caller's fault: Windows' C runtime reports it, and elsewhere the line is cut.
[[gnu::format(printf, 1, 2)]] void sttLogError(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void sttLogInfo(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void sttLogVerbose(const char* format, ...);

// Logs a message with texts of any length (exceptions' messages, paths, names of devices) through one of the functions above.
// Each "%s" of the format takes the next text; no other conversion is known. If the line would not fit, the longest texts are cut
// and end in "...". Neither a UTF-8 character nor a "%" that the file's second expansion reads together with what follows it is
// cut in two. Nothing is allocated and nothing is thrown.
void logTexts(decltype(sttLogInfo)& log, const char* format, std::initializer_list<std::string_view> texts);

// Takes over the machine's log switch and, if it asks for a file, reopens it. Failures are silent: without a switch logging
// stays as it was, and a folder or file that cannot be used turns all of it off.
void openLog();

// Closes the file, for every object of the process; the switch stays as it is.
void closeLog();

} // namespace vorin
