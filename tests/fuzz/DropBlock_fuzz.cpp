// Drop blocks of any content: no item is read from outside, and all that are counted can be had.
#include <cstdlib>

#include "tslib/Utf8.h"
#include "tslib/platform/DropBlock.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const tsLib::DropBlock block(std::as_bytes(std::span(data, size)));
    std::string line;
    for (std::uint32_t i = 0; i < block.Count(); ++i) {
        const std::u16string item = block.Item(i);
        if (item.empty() != (block.GetForm() == tsLib::DropBlock::Form::Narrow)) {
            std::abort();
        }
        tsLib::AppendUtf8(item, line);
    }
    return 0;
}
