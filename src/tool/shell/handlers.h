// What the commands do, by subject.
#pragma once

#include "tool/commands/catalog.h"
#include "tool/shell/meta_commands.h"

namespace handlers {

// source_commands.cpp
void Connect(const MetaCall& call);
void ShowConnection(const MetaCall& call);
void SetUnicode(const MetaCall& call);
void SetLegacy(const MetaCall& call);
void RunDoctor(const MetaCall& call);
void ListDataSources(const MetaCall& call);
void Describe(const MetaCall& call);
template <CatalogKind kind>
void List(const MetaCall& call);
void Begin(const MetaCall& call);
void Commit(const MetaCall& call);
void Rollback(const MetaCall& call);
void SetAutocommit(const MetaCall& call);

// statement_commands.cpp
void Go(const MetaCall& call);
void GoVertically(const MetaCall& call);
void Bind(const MetaCall& call);
void Put(const MetaCall& call);
void Get(const MetaCall& call);
void Watch(const MetaCall& call);
void Edit(const MetaCall& call);
void Include(const MetaCall& call);
void SendOutput(const MetaCall& call);
void SetVertical(const MetaCall& call);
void SetOutput(const MetaCall& call);
void SetTiming(const MetaCall& call);
void SetVariable(const MetaCall& call);
void ShowError(const MetaCall& call);

// gateway_commands.cpp
void CallEntries(const MetaCall& call);
void DecodeList(const MetaCall& call);
void Trace(const MetaCall& call);
void CompareModes(const MetaCall& call);

// meta_commands.cpp
void ShowCommands(const MetaCall& call);
void ShowHelp(const MetaCall& call);
void Quit(const MetaCall& call);

}  // namespace handlers
