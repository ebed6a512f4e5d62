"""What the objects that hold native resources have in common."""

from __future__ import annotations

from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from types import TracebackType
    from typing import Protocol, Self

    class Native(Protocol):
        """The native part of such an object."""

        @property
        def closed(self) -> bool: ...
        def close(self) -> None: ...


class Closing:
    """An object whose end ``with`` or :meth:`close` brings, and not the garbage collector some time later."""

    _native: Native

    @property
    def closed(self) -> bool:
        """Whether the object is closed; any call but :meth:`close` is an error then."""
        return self._native.closed

    def close(self) -> None:
        """Frees what the object holds. May be called again."""
        self._native.close()

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()
