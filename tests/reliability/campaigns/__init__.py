"""The campaigns, one a file: each takes the stage and gives rows of the table."""
