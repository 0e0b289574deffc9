#include "OnfFileKind.h"

#include "ONFOptResultFile.h"
#include "QSV_OnfCatalogue.h"

#include <cstring>
#include <set>

namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// The kinds a comment line may name, in the order its text is matched against their headers.
const OnfFileKind kHeaderKinds[] = {ONF_FILE_MODEL, ONF_FILE_GROUPS, ONF_FILE_INIT,
                                    ONF_FILE_MODIFICATION, ONF_FILE_OPT_RESULT};

// The kind that a comment line names: its text behind the "#" signs and blanks, without
// trailing blanks, is the kind's header. ONF_FILE_GENERIC when it names none.
OnfFileKind KindOfComment(const char* text) {
    while (IsBlank(*text) || *text == '#') {
        ++text;
    }
    size_t length = std::strlen(text);
    while (length > 0 && IsBlank(text[length - 1])) {
        --length;
    }
    for (OnfFileKind kind : kHeaderKinds) {
        const char* header = OnfFileKindHeader(kind);
        if (std::strlen(header) == length && std::memcmp(text, header, length) == 0) {
            return kind;
        }
    }
    return ONF_FILE_GENERIC;
}

// The kind named by a comment line ahead of the first block, ONF_FILE_GENERIC if none is. The
// reader keeps every line of the text, so the lines ahead of the first block are those up to the
// first one that is neither blank nor a comment.
OnfFileKind KindFromHeader(const TextLinesParser& lines) {
    for (size_t i = 0; i < lines.GetNumLines(); ++i) {
        const char* text = lines.GetLine(i);
        while (IsBlank(*text)) {
            ++text;
        }
        if (*text == '\0') {
            continue;
        }
        if (*text != '#') {
            break;
        }
        const OnfFileKind kind = KindOfComment(text);
        if (kind != ONF_FILE_GENERIC) {
            return kind;
        }
    }
    return ONF_FILE_GENERIC;
}

} // namespace

const char* OnfFileKindName(OnfFileKind kind) {
    switch (kind) {
    case ONF_FILE_MODEL:
        return "model input file";
    case ONF_FILE_GROUPS:
        return "groups file";
    case ONF_FILE_INIT:
        return "init file";
    case ONF_FILE_MODIFICATION:
        return "modification file";
    case ONF_FILE_TEMPORARY:
        return "temporary file";
    case ONF_FILE_REQUESTS:
        return "result request file";
    case ONF_FILE_OPT_RESULT:
        return "optimisation result file";
    default:
        return "ONF file";
    }
}

const char* OnfFileKindHeader(OnfFileKind kind) {
    switch (kind) {
    case ONF_FILE_MODEL:
        return const_onf_input_file;
    case ONF_FILE_GROUPS:
        return const_onf_group_file;
    case ONF_FILE_INIT:
        return const_onf_ini_file;
    case ONF_FILE_MODIFICATION:
        return const_onf_mod_file;
    case ONF_FILE_OPT_RESULT:
        return const_onf_opt_res_file;
    default:
        return nullptr;
    }
}

OnfFileKind OnfFileKindOfBlock(int blockId) {
    if (blockId >= 700 && blockId <= 740) {
        return ONF_FILE_OPT_RESULT;
    }
    if ((blockId >= 100 && blockId <= 181) || blockId == 1200) {
        return ONF_FILE_MODEL;
    }
    if (blockId == 97) {
        return ONF_FILE_INIT;
    }
    if (blockId >= 800 && blockId <= 890) {
        return ONF_FILE_MODIFICATION;
    }
    if (blockId >= 900 && blockId <= 950) {
        return ONF_FILE_TEMPORARY;
    }
    if ((blockId >= 400 && blockId <= 440) || blockId == 10030) {
        return ONF_FILE_REQUESTS;
    }
    return ONF_FILE_GENERIC;
}

OnfFileKind OnfFileKindOf(const OnfBlockTextReader& reader) {
    std::set<OnfFileKind> votes;
    bool hasGroups = false;
    for (const OnfBlockTextReader::BLOCK_INFO& block : reader.GetBlocksInfo()) {
        const OnfFileKind kind = OnfFileKindOfBlock(block.block_id);
        if (kind == ONF_FILE_OPT_RESULT) {
            return kind;
        }
        if (kind != ONF_FILE_GENERIC) {
            votes.insert(kind);
        }
        hasGroups = hasGroups || block.block_id == 200 || block.block_id == 210;
    }
    if (!votes.empty()) {
        return votes.size() == 1 ? *votes.begin() : ONF_FILE_GENERIC;
    }
    const OnfFileKind fromHeader = KindFromHeader(reader.GetLines());
    if (fromHeader != ONF_FILE_GENERIC) {
        return fromHeader;
    }
    return hasGroups ? ONF_FILE_GROUPS : ONF_FILE_GENERIC;
}

std::string OnfBlockName(int blockId) {
    if (blockId >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(blockId)) {
        return QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(blockId)).GetBlockName();
    }
    switch (blockId) {
    case ONFOptResTitle::block_id:
        return ONFOptResTitle::header;
    case ONFOptResNodalScalar::block_id:
        return ONFOptResNodalScalar::header;
    case ONFOptResNodalVector::block_id:
        return ONFOptResNodalVector::header;
    case ONFOptResNodalDisp::block_id:
        return ONFOptResNodalDisp::header;
    case ONFOptResElemScalar::block_id:
        return ONFOptResElemScalar::header;
    default:
        return std::string();
    }
}
