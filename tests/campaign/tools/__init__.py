"""What the campaigns share: ways to stop the program at a chosen system call, scenes, and the promises."""
