# cmake -DPAGE=<man page> -P man_page_lines.cmake: help2man joins an indented block of the --help, which has one line for each command, into
# one paragraph. This file separates the lines again.
file(READ "${PAGE}" text)
string(REGEX REPLACE "\\.IP\n(([^.\n][^\n]*\n)+)" ".IP\n.nf\n\\1.fi\n" text "${text}")
string(REPLACE "\n.fi\n.IP\n.nf\n" "\n" text "${text}") # joins a command over two lines
string(REGEX REPLACE "\n([a-z]+: )" "\n.br\n\\1" text "${text}") # separates the names of a list
file(WRITE "${PAGE}" "${text}")
