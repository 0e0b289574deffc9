// Which kind of ONF file a text holds, told from what the reader found in it, and the names by
// which people know kinds and blocks. A program that meets an ONF file of unknown kind asks here
// which file object reads it; the rule is the one every tool of the engine follows.
#pragma once

#include "OnfBlockTextReader.h"

#include <string>

// The kinds of ONF file, each read by a file object of its own except the generic one.
enum OnfFileKind {
    ONF_FILE_GENERIC = 0,  // no kind decided, or blocks of several kinds: a database reads it
    ONF_FILE_MODEL,        // OnfModelFile
    ONF_FILE_GROUPS,       // OnfGroupsFile
    ONF_FILE_INIT,         // OnfInitFile
    ONF_FILE_MODIFICATION, // OnfModifFile
    ONF_FILE_TEMPORARY,    // OnfTemporaryFile
    ONF_FILE_REQUESTS,     // OnfResultRequestFile
    ONF_FILE_OPT_RESULT,   // ONFOptResultFile
    ONF_NUM_FILE_KINDS
};

// "model input file", "groups file", "init file", "modification file", "temporary file",
// "result request file", "optimisation result file"; "ONF file" for the generic kind and for a
// number outside the enumeration.
const char* OnfFileKindName(OnfFileKind kind);

// The header comment that the kind's file object writes behind the version line (the texts of
// const_onf_input_file and its neighbours), by which a comment line also names the kind; null
// for the temporary, result request and generic kinds, whose objects write none.
const char* OnfFileKindHeader(OnfFileKind kind);

// The kind that block number `blockId` decides: 700-740 an optimisation result file, 100-181 and
// 1200 a model input file, 97 an init file, 800-890 a modification file, 900-950 a temporary
// file, 400-440 and 10030 a result request file. ONF_FILE_GENERIC for every other number (groups
// blocks, results, custom blocks), which decides nothing by itself.
OnfFileKind OnfFileKindOfBlock(int blockId);

// The kind of the file that `reader` has read, from its blocks and, where they leave it open, the
// comment lines ahead of its first block:
// - a block of an optimisation result file decides at once (the file's groups are blocks 200
//   and 210, which the groups file has too);
// - otherwise blocks that decide one kind only decide it, and blocks of two or more kinds make
//   a generic file;
// - where no block decides, the first comment line ahead of the first block whose text (behind
//   its "#" signs and blanks) is a kind's header decides;
// - failing that, blocks 200 or 210 make a groups file, and anything else a generic one.
// Reads only what the reader holds (its blocks and its lines); never fails.
OnfFileKind OnfFileKindOf(const OnfBlockTextReader& reader);

// The name by which people know block `blockId`: its name in the catalogue ("ONF_NODES"), the
// title of an optimisation result file's own block ("ONF OPT Result Title" for 700), or empty for
// a number neither knows (NON_ONF's -1 included).
std::string OnfBlockName(int blockId);
