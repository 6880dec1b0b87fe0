// The prompt: statements and commands of a person at a terminal.
#pragma once

#include "tool/shell/Workspace.h"

/// Reads and runs what is typed until the end. What fails is reported, and the prompt comes back.
void RunPrompt(Workspace& workspace);
