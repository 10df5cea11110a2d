"""The one exception the module raises for the library's errors."""


class Error(Exception):
    """An error of the library: its number (10513 for a file that is not SR-4731, 9 for
    an index out of range ...), the procedure that raised it as "Module:Procedure", and
    its description."""

    def __init__(self, number: int, description: str, source: str = "") -> None:
        super().__init__(number, description, source)
        self.number = number
        self.description = description
        self.source = source

    def __str__(self) -> str:
        where = f" in {self.source}" if self.source else ""
        return f"error {self.number}{where}: {self.description}"

    def __repr__(self) -> str:
        return f"tarnvik.Error({self.number!r}, {self.description!r}, {self.source!r})"


Error.__module__ = "tarnvik"  # shown as tarnvik.Error in tracebacks
