"""Record databases as sequences of mappings."""

from __future__ import annotations

import operator
import os
import struct
import weakref
from collections.abc import MutableSequence
from typing import Any, Callable, Mapping, NamedTuple, Union

from . import _optional, errors
from ._library import NULL, Path, check, error, ffi, full_path, lib, lock, path_bytes
from .codes import DatabaseType

_RECORD_BYTES = 1 << 15  # more than any of the records of database_records.h


class Field(NamedTuple):
    """A field of a database's records."""

    name: str
    kind: type
    """str, bool, int or float; tuple for two whole numbers."""
    width: int
    """Characters in the file."""
    decimals: int
    offset: int
    size: int
    conversion: int


_FORMATS = {lib.DB3_LOGICAL: ("<i", bool), lib.DB3_INT16: ("<h", int), lib.DB3_UINT16: ("<H", int),
            lib.DB3_INT32: ("<i", int), lib.DB3_UINT32: ("<I", int), lib.DB3_FLOAT: ("<f", float),
            lib.DB3_DOUBLE: ("<d", float), lib.DB3_EXPONENT: ("<d", float),
            lib.DB3_COMPOUND: ("<ii", tuple)}


def _close(kind: int, process: int) -> None:
    if os.getpid() == process:
        with lock:
            lib.DB3Close(kind)


class Database(MutableSequence):
    """A record database: a sequence of dicts with the names of its fields.

    ``database[0]`` is record 1. Every change is in the file when it returns. Of each type one file may
    be open at a time, ten altogether.

    Args:
        path: The file.
        type: A DatabaseType, its name or its number.
        create: Whether to make an empty file first, in the place of one that is there.

    Raises:
        FileNotFoundError: There is no such file.
        Error: It is no database of that type, or another one of the type is open.

    >>> with Database("RT.DBF", "PROBE", create=True) as probes:
    ...     probes.append({"MAX_TIME": 15})
    ...     len(probes), probes[0]["MAX_TIME"]
    (1, 15)
    """

    def __init__(self, path: Path, type: Union[int, str], *, create: bool = False) -> None:  # noqa: A002
        try:
            kind = DatabaseType[type] if isinstance(type, str) else DatabaseType(type)
        except (KeyError, ValueError):
            raise ValueError(f"{type!r} is none of {', '.join(DatabaseType.__members__)}") from None
        self.path: str = full_path(path)
        self.type = kind
        name = path_bytes(self.path)
        if b"," in name:
            raise ValueError("a database's path has no comma")
        with lock:
            lib.DB3SetReportErrors(kind, 0)
            if create:
                check(lib.DB3Open(kind, name, lib.DB3_MODE_CREATE), self.path)
            check(lib.DB3Open(kind, name, lib.DB3_MODE_OPEN), self.path)
            self._process = os.getpid()
            self._finalizer = weakref.finalize(self, _close, int(kind), self._process)
            self._fields = _read_fields(kind)

    @property
    def fields(self) -> list[Field]:
        """The fields that records have."""
        return list(self._fields.values())

    def close(self) -> None:
        """Closes the file, forced to the disk."""
        with lock:
            if self._finalizer.detach():
                check(lib.DB3Close(self.type), self.path)

    def __enter__(self) -> "Database":
        return self

    def __exit__(self, *ignored: object) -> None:
        self.close()

    def _use(self) -> int:
        if not self._finalizer.alive or os.getpid() != self._process:
            raise errors.ClosedError("the database is closed", self.path)
        return self.type

    def __len__(self) -> int:
        with lock:
            return lib.DB3GetRecordsInDB(self._use())

    def _number(self, index: Any) -> int:
        position, count = operator.index(index), len(self)
        if position < 0:
            position += count
        if not 0 <= position < count:
            raise errors.AbsentError("there is no such record", self.path, lib.DB3_RECORD_NUMBER)
        return position + 1

    def _handle(self, operation: int, number: int, record: Any) -> None:
        code = lib.DB3HandleRecord(self._use(), operation, number, record, lib.DB3_INSERT_INTO_EMPTY)
        check(code, self.path)

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        record = ffi.new("char[]", _RECORD_BYTES)
        with lock:
            self._handle(lib.DB3_HANDLE_READ, self._number(index), record)
        return {name: _value(field, ffi.buffer(record)) for name, field in self._fields.items()}

    def __setitem__(self, index: Any, values: Any) -> None:
        """Updates the fields that `values` names; the others stay."""
        with lock:
            number = self._number(index)
            record = ffi.new("char[]", _RECORD_BYTES)
            self._handle(lib.DB3_HANDLE_READ, number, record)
            self._fill(record, values)
            self._handle(lib.DB3_HANDLE_UPDATE, number, record)

    def update(self, index: int, **values: Any) -> None:
        """Changes fields of a record; the others stay."""
        self[index] = values

    def insert(self, index: int, values: Mapping[str, Any]) -> None:
        """Inserts a record in front of record `index`; fields that are not named are blank or 0."""
        with lock:
            count = len(self)
            position = min(max(index + count if index < 0 else index, 0), count)
            record = ffi.new("char[]", _RECORD_BYTES)
            self._fill(record, values)
            self._handle(lib.DB3_HANDLE_INSERT, position + 1, record)

    def __delitem__(self, index: Any) -> None:
        with lock:
            if isinstance(index, slice):
                for number in sorted(range(*index.indices(len(self))), reverse=True):
                    del self[number]
                return
            self._handle(lib.DB3_HANDLE_DELETE, self._number(index), NULL)

    def _fill(self, record: Any, values: Mapping[str, Any]) -> None:
        for name, value in values.items():
            if name not in self._fields:
                raise KeyError(name)
            _put(self._fields[name], ffi.buffer(record), value)

    def to_pandas(self) -> Any:
        """Returns a DataFrame with a row for each record."""
        return _optional.pandas().DataFrame(list(self), columns=list(self._fields))

    def __repr__(self) -> str:
        return f"<Database {self.path}: {self.type.name}>"


def _read_fields(kind: int) -> dict[str, Field]:
    forms = ffi.new("DB3FieldDescriptor[]", lib.DB3GetFields(kind, NULL, 0))
    lib.DB3GetFields(kind, forms, len(forms))
    table = lib.DB3GetRecordStructureHandle(kind)
    members = ffi.cast("DB3RecordMember*", lib.TvMemLock(table))
    if members == NULL:
        raise error(lib.DB3_MEMORY_LOCK)
    fields: dict[str, Field] = {}
    for i, form in enumerate(forms):
        member = members[i]
        if member.conversion == lib.DB3_NOT_HELD:
            continue
        name = unique = ffi.string(form.name).decode("latin-1")
        use = 1
        while unique in fields:
            use += 1
            unique = f"{name}#{use}"
        fields[unique] = Field(unique, _FORMATS.get(member.conversion, ("", str))[1], form.width,
                               form.decimals, member.offset, member.size, member.conversion)
    lib.TvMemUnlock(table)
    return fields


def _value(field: Field, record: Any) -> Any:
    if field.kind is str:
        return record[field.offset : field.offset + field.size].decode("latin-1").split("\0")[0].rstrip()
    found = struct.unpack_from(_FORMATS[field.conversion][0], record, field.offset)
    convert: Callable[[Any], Any] = field.kind
    return found if field.kind is tuple else convert(found[0])


def _put(field: Field, record: Any, value: Any) -> None:
    if field.kind is str:
        said = str(value).encode("latin-1")
        if len(said) > field.size or b"\0" in said:
            raise ValueError(f"{field.name}: at most {field.size} characters")
        record[field.offset : field.offset + field.size] = said.ljust(field.size)
        return
    members = value if field.kind is tuple else (field.kind(value),)
    try:
        packed = struct.pack(_FORMATS[field.conversion][0], *members)
    except (struct.error, OverflowError, TypeError) as wrong:
        raise ValueError(f"{field.name}: {wrong}") from None
    width = ffi.new("DB3FieldOffsetWidth*", (0, field.width, field.decimals))
    trial = ffi.new("char[]", field.width)
    if lib.DB3ConvertFldToDBFmt(packed, trial, width, NULL, 0, field.conversion) != 0:
        raise ValueError(f"{field.name}: {value} is too long for {field.width} characters")
    record[field.offset : field.offset + len(packed)] = packed
