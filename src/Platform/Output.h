#pragma once

/// What a program writes to: files, pipes and terminals by their descriptors, and what a terminal can show.
/// Thread: any; bytes of one descriptor from one thread at a time.
/// Errors: told by errno; EPIPE says that the reader has gone.
namespace Output
{

// Descriptors.
constexpr int kStandard = 1;
constexpr int kError = 2;

struct TerminalSize
{
    int columns;
    int rows;
};

enum class Colours
{
    None,
    Palette, ///< The 256 of most terminals.
    True,    ///< 24 bits.
};

/// From now on a reader who goes shows in a write that fails, and doesn't end the process.
void ignoreBrokenPipes();

/// Writes `size` bytes, however long the reader takes. False if not all of them could be written.
[[nodiscard]] bool write(int descriptor, const char* data, int size);

/// Waits at most `patience` ms for a pipe to have room, then writes as much as fits without waiting: how many
/// bytes, 0 if there was no room, -1 on failure. Windows can't ask a pipe for room and waits for its reader.
[[nodiscard]] int writeReady(int descriptor, const char* data, int size, int patience);

/// A terminal on Windows takes escape sequences from this question on; others always do.
[[nodiscard]] bool isTerminal(int descriptor);

/// 80 by 24 if it can't be known.
[[nodiscard]] TerminalSize terminalSize(int descriptor);

/// What the user wants (the variable NO_COLOR) and the terminal can.
[[nodiscard]] Colours colours();

/// True if characters beyond ASCII can be shown.
[[nodiscard]] bool isUnicode();

} // namespace Output
