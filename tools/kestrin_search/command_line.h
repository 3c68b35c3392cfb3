// parseCommandLine: turns the arguments into one sub-command and its options
// (CLI11 does the parsing, --help and the usage messages) and runs it.
#ifndef KS_TOOLS_KESTRIN_SEARCH_COMMAND_LINE_H_
#define KS_TOOLS_KESTRIN_SEARCH_COMMAND_LINE_H_

namespace kestrin_tool {

// Parses the arguments and runs the sub-command; returns the exit status.
// Help goes to standard output (status 0); usage errors to standard error
// (status kUsage).
int runCommandLine(int argc, char** argv);

}  // namespace kestrin_tool

#endif  // KS_TOOLS_KESTRIN_SEARCH_COMMAND_LINE_H_
