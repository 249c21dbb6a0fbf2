#include "gvar/map.h"

#include <algorithm>

namespace roq::tool::gvar {
namespace {

constexpr uint32_t kMaximumRows = 32;
constexpr uint32_t kAddressWidth = 10; // "0x2f100034"
constexpr uint32_t kCellsPerRow = 88;
static_assert(kAddressWidth + 1 + kCellsPerRow <= kMapWidth);

// How the parts of a pool look, in the order of Use; behind a break of the block chain nothing is known.
struct Look {
  const char* name;
  char symbol;
  Colour colour;
  const char* fill;
};

constexpr Look kLooks[] = {
    {"free", '.', Colour::faint, "#e4e7eb"},  {"node", 'o', Colour::prominent, "#1b98a6"},
    {"value", '#', Colour::good, "#4f9d4a"},  {"unlisted", '?', Colour::doubtful, "#e0a526"},
    {"unknown", 'x', Colour::bad, "#c8443c"},
};
constexpr size_t kLookCount = sizeof kLooks / sizeof *kLooks;
constexpr size_t kUnknown = kLookCount - 1;

size_t look_of(Use use) { return static_cast<size_t>(use); }

// A stretch of the pool that looks the same: a block, or what is behind a break.
struct Stretch {
  uint32_t address;
  uint32_t size;
  size_t look;
  const Block* block;
};

Array<Stretch> stretches_of(const Report& report) {
  Array<Stretch> stretches;
  for (const Block& block : report.blocks)
    stretches.add({block.address, block.size, look_of(block.use), &block});
  if (!report.chain_is_intact && report.chain_breaks_at < report.pool_end)
    stretches.add({report.chain_breaks_at, report.pool_end - report.chain_breaks_at, kUnknown, nullptr});
  return stretches;
}

uint32_t bytes_per_cell(uint32_t pool_size) {
  uint32_t bytes = kQuantum;
  while (pool_size / bytes >= kCellsPerRow * kMaximumRows)
    bytes *= 2;
  return bytes;
}

// Walks through the stretches cell by cell.
class Cells {
public:
  Cells(const Array<Stretch>& stretches, uint32_t bytes) : stretches_(stretches), bytes_(bytes) {}

  // The look that has most bytes of the cell which begins at the address; cells are asked in order.
  size_t look_at(uint32_t address) {
    uint32_t share[kLookCount] = {};
    uint32_t end = address + bytes_;
    while (at_ < stretches_.size()) {
      const Stretch& stretch = stretches_[at_];
      uint32_t first = std::max(stretch.address, address);
      uint32_t last = std::min(stretch.address + stretch.size, end);
      if (last > first) share[stretch.look] += last - first;
      if (stretch.address + stretch.size > end) break;
      ++at_;
    }
    return static_cast<size_t>(std::max_element(share, share + kLookCount) - share);
  }

private:
  const Array<Stretch>& stretches_;
  uint32_t bytes_;
  size_t at_ = 0;
};

void append_legend(Text& out, const Colours& colours) {
  for (const Look& look : kLooks)
    out.format("%s%s%c%s %s", &look == kLooks ? "" : "  ", colours.begin(look.colour), look.symbol, colours.end(),
               look.name);
  out.append('\n');
}

constexpr uint32_t kSvgWidth = 960;
constexpr uint32_t kSvgRowHeight = 14;
constexpr uint32_t kSvgRows = 64;
constexpr uint32_t kSvgMargin = 20;
constexpr uint32_t kSvgTop = 60;

void append_svg_legend(Text& out) {
  uint32_t x = kSvgMargin;
  for (const Look& look : kLooks) {
    out.format("<rect x=\"%u\" y=\"34\" width=\"12\" height=\"12\" fill=\"%s\"/><text x=\"%u\" y=\"44\">%s</text>\n", x,
               look.fill, x + 18, look.name);
    x += 100;
  }
}

void append_svg_title(Text& out, const Report& report, const Stretch& stretch) {
  out.format("<title>%s, %u bytes at 0x%08x", kLooks[stretch.look].name, stretch.size, stretch.address);
  if (stretch.block != nullptr && (stretch.block->use == Use::value || stretch.block->use == Use::node))
    out.format(", variable 0x%08x", report.variables[stretch.block->variable].id);
  out.append("</title>");
}

// A stretch is one group with a bar in every row it touches.
void append_svg_stretch(Text& out, const Report& report, const Stretch& stretch, uint32_t row_bytes) {
  out.append("<g>");
  append_svg_title(out, report, stretch);
  uint32_t at = stretch.address - report.pool;
  uint32_t end = at + stretch.size;
  while (at < end) {
    uint32_t row = at / row_bytes;
    uint32_t row_end = std::min(end, (row + 1) * row_bytes);
    double scale = double{kSvgWidth} / row_bytes;
    out.format("<rect x=\"%.2f\" y=\"%u\" width=\"%.2f\" height=\"%u\" fill=\"%s\"/>",
               kSvgMargin + (at % row_bytes) * scale, kSvgTop + row * kSvgRowHeight, (row_end - at) * scale,
               kSvgRowHeight - 2, kLooks[stretch.look].fill);
    at = row_end;
  }
  out.append("</g>\n");
}

} // namespace

const char* name_of(Use use) { return kLooks[look_of(use)].name; }

void append_map(Text& out, const Report& report, const Colours& colours) {
  uint32_t pool_size = report.pool_end - report.pool;
  uint32_t cell = bytes_per_cell(pool_size);
  Array<Stretch> stretches = stretches_of(report);
  Cells cells(stretches, cell);
  for (uint32_t row = report.pool; row < report.pool_end; row += cell * kCellsPerRow) {
    out.format("0x%08x ", row);
    size_t last_look = kLookCount;
    for (uint32_t index = 0; index < kCellsPerRow && row + index * cell < report.pool_end; ++index) {
      size_t look = cells.look_at(row + index * cell);
      if (look != last_look) out.format("%s%s", colours.end(), colours.begin(kLooks[look].colour));
      out.append(kLooks[look].symbol);
      last_look = look;
    }
    out.format("%s\n", colours.end());
  }
  out.format("one character: %u bytes   ", cell);
  append_legend(out, colours);
}

void append_svg(Text& out, const Report& report, uint32_t module) {
  uint32_t pool_size = report.pool_end - report.pool;
  uint32_t row_bytes = std::max((pool_size + kSvgRows - 1) / kSvgRows, kSmallestBlock);
  uint32_t rows = (pool_size + row_bytes - 1) / row_bytes;
  out.format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%u\" height=\"%u\" font-family=\"sans-serif\" "
             "font-size=\"12\">\n",
             kSvgWidth + 2 * kSvgMargin, kSvgTop + rows * kSvgRowHeight + kSvgMargin);
  out.format("<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
             "<text x=\"%u\" y=\"22\" font-size=\"15\">Pool of module %u: %u bytes at 0x%08x</text>\n",
             kSvgMargin, module, pool_size, report.pool);
  append_svg_legend(out);
  Array<Stretch> stretches = stretches_of(report);
  for (const Stretch& stretch : stretches)
    append_svg_stretch(out, report, stretch, row_bytes);
  out.append("</svg>\n");
}

} // namespace roq::tool::gvar
