"""What the package and the tools in Python both do. Imports nothing of the
package: the build packs this folder into each tool."""
