// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/log_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <typeinfo>

#include "log_file_impl.h"
#include "number_parse.h"

namespace perflib {

namespace {

// Moves a descriptor read here (own) to the next data at or after its offset, past a hole the file
// system knows of; where there is no data yet, or the system cannot tell, the offset stays.
void skip_hole(int fd, bool own) {
  const off_t at = own ? lseek(fd, 0, SEEK_CUR) : -1;
  if (at >= 0) {
    lseek(fd, at, SEEK_DATA);  // fails, leaving the offset, where the system cannot tell
  }
}

}  // namespace

LogFile::LogFile(const std::string& path, bool tail) : impl(std::make_unique<LogFileImpl>(*this)) {
  InputStream input = open_input_stream(path);
  // A compressed file does not grow: even in tail mode it ends where its text ends.
  init(input.file, tail && !input.decoding, path);
  impl->take(input);
}

LogFile::LogFile(FILE* stream, bool tail) : impl(std::make_unique<LogFileImpl>(*this)) {
  init(stream, tail, std::string());
}

LogFile::~LogFile() {
  do_destruct();
}

void LogFile::init(FILE* stream, bool tail, const std::string& name) {
  LogFileImpl& in = *impl;
  in.file = stream;
  if (in.file == nullptr) {
    throw std::runtime_error("Unable to open file: " + name);
  }
  in.tail = tail;
  in.name = name;
  in.lines = std::make_unique<LineBuffer>(name);
  in.follower = tail ? std::make_unique<FileFollower>(name, in.file) : nullptr;
}

// Takes over a stream open_input_stream opened (file is already set to it).
void LogFileImpl::take(InputStream& input) {
  decoding = std::move(input.decoding);
  own_descriptor = !decoding;
  lines->clear();
  std::memcpy(lines->room(), input.head.data(), input.head.size());
  lines->added(input.head.size());
  ended = failed = in_hole = false;
}

void LogFile::set_line_check(LineCheck check) {
  impl->line_check = std::move(check);
}

void LogFile::close() {
  std::fclose(impl->file);
  impl->decoding.reset();  // after the stream that reads from it
}

void LogFile::do_destruct() {
  if (impl->file != stdin) {
    close();
  }
}

std::int64_t LogFile::get_prev_time() {
  return impl->previous ? impl->previous->get_time() : 0;
}

bool LogFile::would_block() const {
  return impl->blocked;
}

bool LogFile::at_end() const {
  return impl->ended;
}

const std::string& LogFile::name() const {
  return impl->name;
}

bool LogFile::tailing() const {
  return impl->tail;
}

RecordPtr& LogFile::previous_record() {
  return impl->previous;
}

RecordPtr LogFileImpl::make_record(const std::shared_ptr<Context>& layout, char* text) {
  // The record returned last is reused when nobody else holds it any more: the common case of a
  // reader whose records are folded into another one, which then costs no allocation per line.
  Record* last = previous.get();
  if (last != nullptr && previous.use_count() == 1 && last->context == layout
      && typeid(*last) == typeid(Record)) {
    previous->reparse(text);
    return std::move(previous);
  }
  return std::make_shared<Record>(layout, text);
}

// Reads the next block into the line buffer: the byte count, 0 at the end of the file, -1 when
// the read failed.
ssize_t LogFileImpl::read_block() {
  for (;;) {
    char* to = lines->room();
    const std::size_t size = lines->room_size();
    const std::string_view before = lines->recent();
    ssize_t n;
    if (own_descriptor) {
      const off_t left = end_offset < 0 ? static_cast<off_t>(size) : end_offset - position();
      do {
        n = left <= 0 ? 0
                      : ::read(fileno(file), to, std::min(size, static_cast<std::size_t>(left)));
      } while (n < 0 && errno == EINTR);
    } else {
      std::clearerr(file);  // a stream in tail mode may have grown since its end was seen
      const std::size_t got = std::fread(to, 1, size, file);
      n = got > 0 ? static_cast<ssize_t>(got) : std::ferror(file) ? -1 : 0;
    }
    if (n > 0 && follower
        && follower->rewritten(file, position(), before, static_cast<std::size_t>(n))) {
      start_over();
      continue;
    }
    if (n > 0 && in_hole) {
      const auto* text = std::find_if(to, to + n, [](char c) { return c != '\0'; });
      if (text == to + n) {
        skip_hole(
            fileno(file),
            own_descriptor);  // all NULs: on to where the file holds data, if the system can tell
        continue;
      }
      in_hole = false;
      n -= text - to;
      std::memmove(to, text, static_cast<std::size_t>(n));
    }
    if (n > 0) {
      lines->added(static_cast<std::size_t>(n));
    }
    return n;
  }
}

// Where the reader is in the open file. The stream of a file opened here buffers nothing, but it
// does not see the reads made on its descriptor.
off_t LogFileImpl::position() const {
  return own_descriptor ? lseek(fileno(file), 0, SEEK_CUR) : ftello(file);
}

// The file was truncated: read it again from its top. A writer that does not append writes on
// at its old offset, so the truncated file starts with a hole, which reads as NULs, up to there:
// the hole is passed over (tail -F users see the rows, not a line of NULs).
void LogFileImpl::start_over() {
  lines->clear();  // a line the old text left unfinished will never be finished
  std::rewind(file);
  in_hole = true;
  skip_hole(fileno(file), own_descriptor);
}

// The next line, or nullptr at the end of the input (not in tail mode) and after a failed read.
// In tail mode a line the writer has not finished when the reader reaches the end of the file is
// kept and completed by what follows: a write can reach the reader in parts. Unless wait is set,
// nullptr also when no complete line is there yet (blocked is then set).
char* LogFileImpl::read_line(bool wait) {
  for (;;) {
    std::size_t length;
    if (char* line = lines->next_line(length)) {
      line_size = length - 1;
      return line;
    }
    if (failed) {
      return nullptr;
    }
    if (ended) {
      char* line = lines->rest(length);
      line_size = length;
      return line;
    }
    const ssize_t n = read_block();
    if (n < 0) {
      failed = true;
      if (decoding) {  // not even the part of a line before the damage is used
        throw std::runtime_error("File read error: " + name + ": " + decoding->error());
      }
    } else if (n == 0) {
      if (tail) {
        if (!follow(wait)) {
          blocked = true;
          return nullptr;
        }
      } else {
        ended = true;
      }
    }
  }
}

// At the end of the open file in tail mode: false when nothing has changed and wait is not set;
// otherwise waits for a change if there is none, and the reader reads again.
bool LogFileImpl::follow(bool wait) {
  switch (follower->at_end(file, position())) {
    case FileFollower::FA_READ:
      return true;
    case FileFollower::FA_REWIND:
      start_over();
      return true;
    case FileFollower::FA_WAIT:
      if (wait) {
        follower->wait(position());
      }
      return wait;
    case FileFollower::FA_REOPEN:
      break;
  }
  InputStream next = open_input_stream(name);
  if (next.file == nullptr) {
    if (errno == ENOENT) {
      return true;  // gone again before it could be opened: wait for the next one
    }
    throw std::runtime_error("Unable to open file: " + name);
  }
  self.close();  // what the old file left unfinished stays so
  file = next.file;
  take(next);
  if (decoding) {  // it does not grow: read to its end, it ends this input
    tail = false;
    follower.reset();
    return true;
  }
  follower->watch(file);
  return true;
}

RecordPtr LogFile::read_next() {
  return impl->next_record(true);
}

RecordPtr LogFile::read_next_ready() {
  return impl->next_record(false);
}

void LogFile::wait_any(const std::vector<LogFile*>& files, int timeout_ms) {
  std::vector<FileFollower*> followers;
  for (LogFile* f : files) {
    if (f->impl->follower) {
      followers.push_back(f->impl->follower.get());
    }
  }
  FileFollower::wait_any(followers, timeout_ms);
}

RecordPtr LogFileImpl::next_record(bool wait) {
  blocked = false;
  if (window_pending) {
    find_window();
  }
  while (char* line = read_line(wait)) {
    if (line_check) {
      line_check(line, line_size, lines->line_number());
    }
    if (line[0] == '#') {
      header = std::make_shared<Context>(line);
      continue;
    }
    std::shared_ptr<Context> layout = std::move(header);
    if (!layout) {
      if (previous) {
        layout = previous->get_context();
      } else {
        char sdrop_header[] = "#time,sdrops\n";
        layout = std::make_shared<Context>(sdrop_header);
      }
    }
    if (skip_before != INT64_MIN && layout->time_index() == 0) {
      char* p = skip_delimiters(line);
      if (*p != '\0' && static_cast<std::int64_t>(read_count(p)) < skip_before) {
        header = std::move(layout);  // still the layout of the lines that follow
        continue;
      }
    }
    RecordPtr record = make_record(layout, line);
    if (record->get_pegs().empty()) {
      record.reset();  // a line that gives no values ends this input
    }
    previous = record;
    return record;
  }
  if (blocked) {
    return nullptr;
  }
  header.reset();
  if (tail) {
    throw std::runtime_error("File read error");
  }
  previous.reset();
  return nullptr;
}

}  // namespace perflib
