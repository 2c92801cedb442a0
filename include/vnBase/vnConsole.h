// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// Keys and cursor of the console. With a terminal as standard input the first call that asks for keys turns
/// off its line mode and its echo, until the program ends, also by a signal that ends it, or is stopped. A
/// standard input that is no terminal is read as a stream: a test for a key waits for its next byte or its
/// end.
///
/// Thread-safety: any thread.

/// The next key, not echoed; waits for one. -1 at the end of the input.
VN_BASE_API int vn_getch();

/// The same with the key written to the console.
VN_BASE_API int vn_getche();

/// 1 when a key waits. At the end of an input that is no terminal it is 0 for good.
VN_BASE_API unsigned char vn_kbhit();

/// Writes one byte to standard output and returns it; -1 when that fails. On a terminal it appears at once;
/// other outputs collect what is written until the next request for a key, `vn_flush()` or the program's end.
VN_BASE_API int vn_putch(int character);

/// Puts out what `vn_putch` collected; 0 when that fails.
VN_BASE_API unsigned char vn_flush();

/// Clears the screen and goes to its upper left corner. Does nothing when standard output is no terminal.
VN_BASE_API void vn_clrscr();

/// Moves the cursor to column `x` of line `y`, counted from 1 at the upper left. Does nothing when standard
/// output is no terminal.
VN_BASE_API void vn_gotoxy(int x, int y);
