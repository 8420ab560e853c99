"""Common code of the campaigns: ways to stop the program at a chosen system call, scenes, and the promises."""
