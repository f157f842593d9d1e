# What an installed copy consists of.
