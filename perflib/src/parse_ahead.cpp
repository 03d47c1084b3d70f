// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/parse_ahead.h"

#include <algorithm>
#include <bit>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <vector>

#include "layout_preview.h"
#include "line_buffer.h"
#include "log_file_impl.h"
#include "number_parse.h"

namespace perflib {

namespace {

constexpr std::size_t MOST_READY = 2;           // batches made and not yet taken, per input
constexpr std::size_t TEXT_BUDGET = 64 * 1024;  // a batch ends once its text passes this
// One data line read ahead: its cells converted in the layout it was read in (a counter, or the
// bits of a double, each, in Batch::cells), and its text.
struct Row {
  std::size_t cells = 0;  // of its first column, in Batch::cells
  std::size_t text = 0;   // of the line, in Batch::text
  // The header lines between the row before it and this one, in Batch::headers.
  std::size_t first_header = 0;
  std::size_t end_header = 0;
  const Context* layout = nullptr;  // one of Batch::layouts
  bool more = false;                // the line has cells past that layout's last column
};

std::shared_ptr<Context> context_of(const char* header) {
  std::string text(header);
  return std::make_shared<Context>(text.data());
}

const char sdrop_header[] = "#time,sdrops\n";  // the layout of a file whose first line is data

}  // namespace

struct ParseAhead::Batch {
  std::vector<Row> rows;  // the first size are in use
  std::size_t size = 0;
  std::vector<std::uint64_t> cells;  // as many for each row as its layout has columns
  std::string text;                  // the lines, each ended by a NUL
  // Every header line read, in Batch::text: each is made into a layout when the reader reaches
  // it, as read_next makes it, whether rows follow or not.
  std::vector<std::size_t> headers;
  std::size_t last_headers = 0;  // the first of the headers after the last row
  std::vector<std::shared_ptr<const Context>> layouts;
  bool end = false;          // the input ends after these rows (and headers)
  std::exception_ptr error;  // thrown after these rows (and headers)

  void clear() {
    size = 0;
    cells.clear();
    text.clear();
    headers.clear();
    last_headers = 0;
    layouts.clear();
    end = false;
    error = nullptr;
  }

  std::size_t add_text(const char* line) {
    const std::size_t at = text.size();
    text.append(line);
    text.push_back('\0');
    return at;
  }
};

struct ParseAhead::InputState {
  InputState(LogFile& file, unsigned batch_rows, std::exception_ptr out_of_memory)
      : file(file), batch_rows(batch_rows), out_of_memory(std::move(out_of_memory)) {
    // Room for every batch there can be, so that queueing one never allocates.
    ready.reserve(MOST_READY);
    spare.reserve(MOST_READY + 2);
  }

  LogFile& file;
  const unsigned batch_rows;
  // What the reader is given for memory exhausted while its rows are read ahead: made before,
  // as there may be no memory to make it then.
  const std::exception_ptr out_of_memory;

  // Under Shared::lock.
  std::vector<std::unique_ptr<Batch>> ready;  // oldest first, MOST_READY at most
  std::vector<std::unique_ptr<Batch>> spare;
  bool busy = false;     // a thread fills a batch of it
  bool done = false;     // its last batch is made
  bool closed = false;   // its reader is gone
  bool starved = false;  // no memory for its next batch: out_of_memory ends it after the last

  // Of the thread that fills a batch.
  std::shared_ptr<const Context> layout;  // of the next data line; none before the first

  // Of the reader.
  std::unique_ptr<Batch> current;
  std::size_t next = 0;  // row of current
  // The last reader's layout compared with a batch's, by identity and state (a layout only
  // changes by renaming columns, which raises its version, or by gaining columns).
  std::shared_ptr<Context> compared;
  std::uint8_t compared_version = 0;
  std::size_t compared_size = 0;
  std::shared_ptr<const Context> compared_with;
  bool same_kinds = false;
  bool counters_only = false;  // the batch's layout has no column of reals

  std::unique_ptr<Batch> spare_batch() {
    if (spare.empty()) {
      return std::make_unique<Batch>();
    }
    std::unique_ptr<Batch> batch = std::move(spare.back());
    spare.pop_back();
    return batch;
  }
};

struct ParseAhead::Shared {
  std::mutex lock;
  std::condition_variable work;  // a helper may have something to do
  std::condition_variable made;  // a batch was made, or a thread let go of an input
  std::vector<std::shared_ptr<InputState>> inputs;
  std::size_t cursor = 0;  // where the search for work starts
  unsigned idle = 0;       // helpers waiting for work
  bool stopping = false;
  std::vector<std::thread> helpers;

  // The open input with room for another batch and the fewest made, from cursor on.
  std::shared_ptr<InputState> pick() {
    std::shared_ptr<InputState> best;
    std::size_t at = 0;
    for (std::size_t k = 0; k < inputs.size(); ++k) {
      const std::size_t i = (cursor + k) % inputs.size();
      InputState& in = *inputs[i];
      if (in.busy || in.done || in.closed || in.ready.size() >= MOST_READY) {
        continue;
      }
      if (!best || in.ready.size() < best->ready.size()) {
        best = inputs[i];
        at = i;
      }
    }
    if (best) {
      cursor = at + 1;
    }
    return best;
  }

  // Fills a batch of in, which the caller has marked busy, with the lock released meanwhile.
  void fill_unlocked(std::unique_lock<std::mutex>& held, InputState& in) {
    std::unique_ptr<Batch> batch;
    try {
      batch = in.spare_batch();
    } catch (const std::bad_alloc&) {
      in.busy = false;
      in.done = in.starved = true;
      made.notify_all();
      return;
    }
    held.unlock();
    ParseAhead::fill(in, *batch);
    held.lock();
    in.busy = false;
    in.done = batch->end;
    in.ready.push_back(std::move(batch));
    made.notify_all();
  }
};

ParseAhead::ParseAhead(unsigned helpers) : shared(std::make_shared<Shared>()) {
  for (unsigned i = 0; i < std::max(helpers, 1u); ++i) {
    try {
      shared->helpers.emplace_back([s = shared] { run(s); });
    } catch (const std::system_error&) {
      if (shared->helpers.empty()) {
        throw;
      }
      break;  // where threads are scarce, fewer helpers
    }
  }
}

ParseAhead::~ParseAhead() {
  {
    const std::lock_guard<std::mutex> held(shared->lock);
    shared->stopping = true;
  }
  shared->work.notify_all();
  for (std::thread& t : shared->helpers) {
    t.join();
  }
}

std::unique_ptr<ParseAhead::Input> ParseAhead::read(LogFile& file, unsigned batch_rows) {
  auto state = std::make_shared<InputState>(
      file, std::max(batch_rows, 1u),
      std::make_exception_ptr(
          std::runtime_error(file.impl->name + ": out of memory while reading ahead")));
  {
    const std::lock_guard<std::mutex> held(shared->lock);
    shared->inputs.push_back(state);
  }
  shared->work.notify_one();
  return std::unique_ptr<Input>(new Input(shared, std::move(state)));
}

void ParseAhead::run(const std::shared_ptr<Shared>& shared) {
  Shared& s = *shared;
  std::unique_lock<std::mutex> held(s.lock);
  while (!s.stopping) {
    std::shared_ptr<InputState> in = s.pick();
    if (!in) {
      ++s.idle;
      s.work.wait(held);
      --s.idle;
      continue;
    }
    in->busy = true;
    s.fill_unlocked(held, *in);
  }
}

// Reads the next rows of in into batch: up to its row count, its text budget or the end.
void ParseAhead::fill(InputState& in, Batch& batch) {
  LogFileImpl& file = *in.file.impl;
  try {
    while (batch.size < in.batch_rows && batch.text.size() < TEXT_BUDGET) {
      char* line = file.read_line(true);
      if (line == nullptr) {
        batch.end = true;
        return;
      }
      if (line[0] == '#') {
        batch.headers.push_back(batch.add_text(line));
        continue;
      }
      if (batch.rows.size() == batch.size) {
        batch.rows.emplace_back();
      }
      Row& row = batch.rows[batch.size];
      row.first_header = batch.last_headers;
      row.end_header = batch.headers.size();
      if (row.first_header < row.end_header) {
        in.layout = preview_layout(batch.text.data() + batch.headers.back());
      } else if (!in.layout) {
        in.layout = preview_layout(sdrop_header);
      }
      if (batch.layouts.empty() || batch.layouts.back() != in.layout) {
        batch.layouts.push_back(in.layout);
      }
      row.layout = in.layout.get();
      row.cells = batch.cells.size();
      batch.cells.resize(row.cells + in.layout->fields.size());  // missing cells read as zero
      std::uint64_t* out = batch.cells.data() + row.cells;
      convert_cells(
          in.layout->fields, line, &row.more, [out](std::size_t i, std::uint64_t v) { out[i] = v; },
          [out](std::size_t i, double v) { out[i] = std::bit_cast<std::uint64_t>(v); });
      row.text = batch.add_text(line);
      ++batch.size;
      batch.last_headers = row.end_header;
      if (in.layout->fields.empty()) {
        batch.end = true;  // a row without values ends the input
        return;
      }
    }
    if (batch.last_headers < batch.headers.size()) {
      in.layout = preview_layout(batch.text.data() + batch.headers.back());  // of the next row
    }
  } catch (const std::bad_alloc&) {
    batch.error = in.out_of_memory;
    batch.end = true;
  } catch (...) {
    batch.error = std::current_exception();
    batch.end = true;
  }
}

RecordPtr ParseAhead::take(Shared& s, InputState& in) {
  // The next row, from the next batch once this one is read. Every header line on the way is
  // made into a layout in turn, as read_next makes them, also where no row follows.
  std::shared_ptr<Context> layout;
  while (!in.current || in.next == in.current->size) {
    if (in.current) {
      Batch& last = *in.current;
      for (; last.last_headers < last.headers.size(); ++last.last_headers) {
        layout = context_of(last.text.data() + last.headers[last.last_headers]);
      }
    }
    if (in.current && in.current->end) {
      if (in.current->error) {
        std::rethrow_exception(in.current->error);
      }
      in.file.impl->header.reset();
      in.file.impl->previous.reset();
      return nullptr;
    }
    std::unique_lock<std::mutex> held(s.lock);
    if (in.current) {
      in.current->clear();
      in.spare.push_back(std::move(in.current));
    }
    while (in.ready.empty()) {
      if (in.starved) {
        std::rethrow_exception(in.out_of_memory);
      }
      if (!in.busy) {
        in.busy = true;  // no helper is at it: read it here rather than wait
        s.fill_unlocked(held, in);
      } else if (std::shared_ptr<InputState> other = s.pick()) {
        other->busy = true;  // a helper is at it: read another input meanwhile
        s.fill_unlocked(held, *other);
      } else {
        s.made.wait(held);
      }
    }
    in.current = std::move(in.ready.front());
    in.ready.erase(in.ready.begin());
    in.next = 0;
    if (in.ready.empty() && !in.done && s.idle > 0) {
      s.work.notify_one();  // this input runs dry next
    }
  }
  Batch& batch = *in.current;
  Row& row = batch.rows[in.next++];
  LogFileImpl& file = *in.file.impl;

  // The layout read_next would give the line.
  for (std::size_t h = row.first_header; h < row.end_header; ++h) {
    layout = context_of(batch.text.data() + batch.headers[h]);
  }
  if (!layout) {
    layout = file.previous ? file.previous->get_context() : context_of(sdrop_header);
  }
  // Whether its columns still have the kinds the row was converted by, from its first column
  // to the last the line fills.
  const std::size_t n = layout->fields.size();
  const std::vector<Field>& converted = row.layout->fields;
  if (in.compared != layout || in.compared_version != layout->version || in.compared_size != n
      || in.compared_with.get() != row.layout) {
    in.compared = layout;
    in.compared_version = layout->version;
    in.compared_size = n;
    in.compared_with = *std::find_if(batch.layouts.begin(), batch.layouts.end(),
                                     [&](const auto& l) { return l.get() == row.layout; });
    in.same_kinds = n >= converted.size()
                    && std::equal(converted.begin(), converted.end(), layout->fields.begin(),
                                  [](const Field& a, const Field& b) {
                                    return is_integer(a.type) == is_integer(b.type);
                                  });
    in.counters_only = std::all_of(converted.begin(), converted.end(),
                                   [](const Field& f) { return is_integer(f.type); });
  }
  const bool as_converted = in.same_kinds && !(row.more && n > converted.size());

  // The record, reusing the one returned last when nobody holds it, as read_next does.
  RecordPtr record;
  Record* last = file.previous.get();
  if (last != nullptr && file.previous.use_count() == 1 && last->context == layout
      && typeid(*last) == typeid(Record)) {
    record = std::move(file.previous);
  }
  char* text = batch.text.data() + row.text;
  if (as_converted) {
    if (!record) {
      record = std::make_shared<Record>(layout, nullptr);
    }
    record->average_state = AS_NONE;
    record->average_counts.clear();
    record->averaged_integers.clear();
    std::vector<Peg>& pegs = record->pegs;
    pegs.resize(converted.size());
    const std::uint64_t* cells = batch.cells.data() + row.cells;
    Peg* out = pegs.data();
    if (in.counters_only) {
      for (std::size_t i = 0; i < converted.size(); ++i) {
        out[i] = Peg();
        out[i].count = cells[i];
      }
    } else {
      for (std::size_t i = 0; i < converted.size(); ++i) {
        if (is_integer(converted[i].type)) {
          out[i].set_count(cells[i]);
        } else {
          out[i].set_value(std::bit_cast<double>(cells[i]));
        }
      }
    }
    while (pegs.size() < n) {
      record->push_peg(layout->fields[record->pegs.size()].type);
    }
  } else if (record) {
    record->reparse(text);
  } else {
    record = std::make_shared<Record>(layout, text);
  }
  if (record->get_pegs().empty()) {
    record.reset();  // a line that gives no values ends this input
  }
  file.previous = record;
  return record;
}

ParseAhead::Input::Input(std::shared_ptr<Shared> shared, std::shared_ptr<InputState> state)
    : shared(std::move(shared)), state(std::move(state)) {}

ParseAhead::Input::~Input() {
  std::unique_lock<std::mutex> held(shared->lock);
  state->closed = true;
  shared->made.wait(held, [this] { return !state->busy; });
  auto& inputs = shared->inputs;
  inputs.erase(std::find(inputs.begin(), inputs.end(), state));
}

RecordPtr ParseAhead::Input::read_next() {
  return take(*shared, *state);
}

}  // namespace perflib
