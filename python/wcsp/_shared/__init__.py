"""Code shared by the package and the tools in Python. It imports nothing from
the package, because the build packs this folder into each tool."""
