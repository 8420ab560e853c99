// What becomes of an inbound file that is done with.
#pragma once

// Moves the file at `source`, whose name is `name`, to the processed directory `processed_dir`, replacing an older file
// of that name. Returns 0, or -1 after logging why; the source is then still where it was.
int MoveToProcessed(const char* source, const char* name, const char* processed_dir);

// Deletes the file. Returns 0, or -1 after logging why.
int DeleteProcessed(const char* source);
