#include "session/blocks.h"
// Placeholder until the block reader lands.
bool parseBlockAt(const ImageView&, uint64_t, uint64_t, PtxBlock&) { return false; }
std::vector<PtxBlock> walkBlockTree(const ImageView&) { return {}; }
BlockIndex buildBlockIndex(const ImageView&) { return {}; }
std::vector<uint64_t> scanBlocks(const ImageView&, const BlockIndex&, uint16_t, uint64_t, uint64_t) { return {}; }
ImageCheck checkImage(const ImageView&) { return {}; }
const char* damageWord(DamageVerdict) { return "none"; }
std::vector<uint64_t> SessionImage::scan(uint16_t) const { return {}; }
std::vector<uint64_t> SessionImage::scan(uint16_t, uint64_t, uint64_t) const { return {}; }
SessionImage makeSessionImage(const ImageView& view) { return SessionImage{view, {}}; }
