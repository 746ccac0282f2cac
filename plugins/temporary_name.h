// The names of temporary files, which others can foretell: another process, also one in another container
// that shares the folder, may come to the same.
#pragma once

namespace temporary_name {

// Removes what an earlier run has left under the name, if it is a plain file of this user. It may also be the
// file of a run that goes on: that keeps its open file, and isTaken says so. Returns true if nothing lies
// under the name any more; otherwise false, with errno set.
bool vacate(const char* path);

// Takes the open file for this process alone until it is released or closed. False if another process has
// taken it.
bool claim(int descriptor);
void release(int descriptor);

// True if somebody else has taken the name of the open file for a file of his own.
bool isTaken(int descriptor, const char* path);

}  // namespace temporary_name
