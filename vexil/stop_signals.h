// SPDX-License-Identifier: Apache-2.0
// SIGTERM and SIGINT (systemctl stop, an interrupt) end a run at a line boundary, with status
// 128 + the signal: the merged output never ends in a part of a line, whenever the signal comes.
//
// In tail mode standard output is line-buffered, so between two buckets nothing is left in the
// buffer: a signal then ends the run at once, even while it waits deep inside the reader for a
// file to change. A signal that comes while a bucket is being printed is held until its lines
// are complete. Otherwise standard output is fully buffered and may hold a part of a line at any
// moment: a signal is always held, and acted on at the next bucket or pass boundary, after what
// is buffered has been written.
//
// The handler may run on any thread (the reader decompresses on threads of its own), so it
// shares nothing with the program but one lock-free atomic.
#ifndef VEXIL_STOP_SIGNALS_H
#define VEXIL_STOP_SIGNALS_H

namespace vexil::stop_signals {

// Installs the handlers, once, in the program's main: a program that runs the merge otherwise (a
// fuzz target) keeps its own. A signal that was ignored when the program started (a background
// job of a script) stays ignored.
void install();

// Tells whether standard output is line-buffered (tail mode) from now on; until then it is taken
// to be, which is right as long as nothing has been printed.
void set_line_buffered(bool line_buffered);

// Held over the printing of one bucket; when it ends, a signal held meanwhile ends the run.
class Printing {
 public:
  Printing();
  ~Printing();
  Printing(const Printing&) = delete;
  Printing& operator=(const Printing&) = delete;
};

// At a line boundary: a signal held so far ends the run, after flushing standard output.
void stop_if_asked();

}  // namespace vexil::stop_signals

#endif
