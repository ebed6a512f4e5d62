# cmake -DPAGE=<man page> -P man_page_lines.cmake: help2man flows an indented block of the --help, which is a line a command, into one
# paragraph. This keeps its lines apart.
file(READ "${PAGE}" text)
string(REGEX REPLACE "\\.IP\n(([^.\n][^\n]*\n)+)" ".IP\n.nf\n\\1.fi\n" text "${text}")
string(REPLACE "\n.fi\n.IP\n.nf\n" "\n" text "${text}") # of a command over two lines
string(REGEX REPLACE "\n([a-z]+: )" "\n.br\n\\1" text "${text}") # what each name of a list stands for
file(WRITE "${PAGE}" "${text}")
