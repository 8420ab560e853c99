"""Running the program in a site of its own, and comparing what it left behind."""
