// Streams of frames, cut anywhere, against the plainest reader there is.

#include "JRCmn/Internal/Cmn_FrameAssembler.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

// What a stream leads to: its messages, each with a stroke behind it. A message of one stroke is not accepted.
bool Accept(std::string& story, const void* body, std::size_t size) {
    const std::string text(static_cast<const char*>(body), size);
    story += text + '|';
    return text != "|";
}

// Copies what fits, looks at the front, moves the rest down.
struct Reference {
    const std::size_t capacity;
    std::string held{};

    FrameOutcome Take(std::string bytes, std::string& story) {
        for (;;) {
            const std::size_t fits = std::min(bytes.size(), capacity - held.size());
            held += bytes.substr(0, fits);
            bytes.erase(0, fits);
            if (held.size() >= 4) {
                std::uint64_t frame = 4;
                for (int i = 0; i < 4; ++i)
                    frame += std::uint64_t{static_cast<unsigned char>(held[i])} << 8 * i;
                if (frame > capacity) return FrameOutcome::kTooLong;
                if (held.size() >= frame) {
                    if (!Accept(story, held.data() + 4, frame - 4)) return FrameOutcome::kStopped;
                    held.erase(0, frame);
                    continue;
                }
            }
            return held.size() == capacity && fits == 0 ? FrameOutcome::kNoRoom : FrameOutcome::kWaiting;
        }
    }
};

}  // namespace

FUZZ_TARGET(FrameAssembly) {
    const std::size_t capacity = input.Below(40);
    FrameAssembler assembler(capacity);
    Reference reference{capacity};
    std::string stream;
    while (!input.IsEmpty()) {
        const std::string body = input.Bytes(std::max<std::size_t>(capacity, 5) - 4);
        std::uint32_t length = static_cast<std::uint32_t>(body.size());
        if (input.Below(30) == 0)
            length = input.Below(2) ? input.Below(0) : static_cast<std::uint32_t>(-input.Between(0, 9));
        if (input.Below(60) == 0) length = static_cast<std::uint32_t>(capacity) - 5 + input.Below(4);
        stream += std::string(reinterpret_cast<const char*>(&length), sizeof length) + body;
        // Each piece lies on the heap by itself, where the sanitizer sees a byte too far.
        for (int pieces = input.Between(0, 3); pieces > 0 && !stream.empty(); --pieces) {
            const std::size_t size = 1 + input.Below(static_cast<std::uint32_t>(stream.size()));
            const std::vector<unsigned char> piece(stream.begin(), stream.begin() + static_cast<long>(size));
            std::string ours, theirs;
            const FrameOutcome outcome =
                assembler.Take(piece.data(), size,
                               [&](const void* at, std::uint32_t count) { return Accept(ours, at, count); });
            SAME(static_cast<int>(outcome), static_cast<int>(reference.Take(stream.substr(0, size), theirs)));
            SAME(ours, theirs);
            if (outcome != FrameOutcome::kWaiting) return;
            stream.erase(0, size);
        }
    }
}
