#ifndef QUORVA_TESTS_TOOLS_TOOLENVIRONMENT_H
#define QUORVA_TESTS_TOOLS_TOOLENVIRONMENT_H

#include "support/programrun.h"

#include <string>
#include <vector>

/** Runs quorvactl with further environment variables, "NAME=VALUE". */
inline ProgramRun quorvactlWith(std::vector<std::string> variables, const std::vector<std::string>& words,
                                const ProgramFiles& files = {})
{
    variables.emplace_back(QUORVACTL_BINARY);
    variables.insert(variables.end(), words.begin(), words.end());
    return runProgram("/usr/bin/env", variables, files);
}

#endif
