#include "perflib_bits/log_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "decompressing_stream.h"
#include "file_follower.h"

namespace perflib {

LogFile::LogFile(const std::string& path, bool tail) {
  InputStream input = open_input_stream(path);
  // A compressed file does not grow: even in tail mode it ends where its text ends.
  init(input.file, tail && !input.compressed, path);
  decompression_error = std::move(input.error);
}

LogFile::LogFile(FILE* stream, bool tail) {
  init(stream, tail, std::string());
}

LogFile::~LogFile() {
  do_destruct();
  std::free(line);
}

void LogFile::init(FILE* stream, bool tail, const std::string& name) {
  file = stream;
  if (file == nullptr) {
    throw std::runtime_error("Unable to open file: " + name);
  }
  this->tail = tail;
  this->name = name;
  follower = tail ? std::make_unique<FileFollower>(name, file) : nullptr;
}

void LogFile::close() {
  std::fclose(file);
}

void LogFile::do_destruct() {
  if (file != stdin) {
    close();
  }
}

std::int64_t LogFile::get_prev_time() {
  return previous ? previous->get_time() : 0;
}

RecordPtr LogFile::make_record(const std::shared_ptr<Context>& layout, char* text) {
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

ssize_t LogFile::read_line() {
  if (!tail) {
    return getdelim(&line, &capacity, '\n', file);
  }
  // A line the writer has not finished when the reader reaches the end of the file is kept and
  // completed by what follows: a write can reach the reader in parts.
  for (;;) {
    std::clearerr(file);
    ssize_t length = getdelim(&line, &capacity, '\n', file);
    if (!std::feof(file)) {
      std::clearerr(file);
      return unfinished.empty() || length <= 0 ? length : finish_line(length);
    }
    if (length > 0) {
      unfinished.append(line, static_cast<std::size_t>(length));
    }
    follow();
    if (!tail) {
      return read_line();  // the path now names a compressed file
    }
  }
}

ssize_t LogFile::finish_line(ssize_t length) {
  unfinished.append(line, static_cast<std::size_t>(length));
  if (capacity <= unfinished.size()) {
    char* larger = static_cast<char*>(std::realloc(line, unfinished.size() + 1));
    if (larger == nullptr) {
      throw std::bad_alloc();
    }
    line = larger;
    capacity = unfinished.size() + 1;
  }
  std::memcpy(line, unfinished.c_str(), unfinished.size() + 1);
  length = static_cast<ssize_t>(unfinished.size());
  unfinished.clear();
  return length;
}

void LogFile::follow() {
  switch (follower->at_end(file)) {
    case FileFollower::FA_READ:
      return;
    case FileFollower::FA_REWIND:
      unfinished.clear();  // the writer started over: that line will never be finished
      std::rewind(file);
      return;
    case FileFollower::FA_WAIT:
      follower->wait(file);
      return;
    case FileFollower::FA_REOPEN:
      break;
  }
  InputStream next = open_input_stream(name);
  if (next.file == nullptr) {
    if (errno == ENOENT) {
      return;  // gone again before it could be opened: wait for the next one
    }
    throw std::runtime_error("Unable to open file: " + name);
  }
  unfinished.clear();  // what the old file left unfinished stays so
  close();
  file = next.file;
  if (next.compressed) {  // it does not grow: read to its end, it ends this input
    tail = false;
    follower.reset();
    decompression_error = std::move(next.error);
    return;
  }
  follower->watch(file);
}

RecordPtr LogFile::read_next() {
  std::shared_ptr<Context> layout;
  for (;;) {
    if (std::ferror(file) || (!tail && std::feof(file))) {
      break;
    }
    const ssize_t length = read_line();
    if (decompression_error && std::ferror(file)) {  // not even a part of a line is used then
      throw std::runtime_error("File read error: " + name + ": " + decompression_error());
    }
    if (length <= 0) {
      break;
    }
    if (line[0] == '#') {
      layout = std::make_shared<Context>(line);
      continue;
    }
    if (!layout) {
      if (previous) {
        layout = previous->get_context();
      } else {
        char sdrop_header[] = "#time,sdrops\n";
        layout = std::make_shared<Context>(sdrop_header);
      }
    }
    RecordPtr record = make_record(layout, line);
    if (record->get_pegs().empty()) {
      record.reset();  // a line that gives no values ends this input
    }
    previous = record;
    return record;
  }
  if (tail) {
    throw std::runtime_error("File read error");
  }
  previous.reset();
  return nullptr;
}

}  // namespace perflib
