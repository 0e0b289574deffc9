// The fixed texts of ONF files, shared by the reader, the writers and the stream route.
#pragma once

// Block start and block end: three blanks, a minus sign and a digit, one full line.
constexpr const char* ONF_BLOCK_MARKER = "   -1";
// Opens and closes the descriptor section of a block.
constexpr const char* ONF_DESCRIPTOR_MARKER = "   -2";
// Opens and closes the format section of a block.
constexpr const char* ONF_FORMAT_MARKER = "   -3";
// The first byte of a comment line.
constexpr const char* ONF_COMMENT_MARK = "#";
// Between two values of a record line or a list.
constexpr const char* ONF_SEPARATOR = ", ";
// The block number line of a custom block.
constexpr const char* ONF_NON_ONF = "NON_ONF";
// The title of a custom block in its header comment.
constexpr const char* ONF_CUSTOM_BLOCK_NAME = "Custom dynamic format block";
// The default file extension, without its dot.
constexpr const wchar_t* ONF_DEFAULT_EXTENSION = L"onf";
