"""The dataset's columns, as the documents have them."""

import json

from conftest import REPOSITORY

from dirty_seg.fleet.schema import COLUMNS, json_schema, schema

FILE = REPOSITORY / "docs" / "schema" / "fleet.schema.json"


def test_the_documents_schema_is_that_of_the_files() -> None:
    text = json.dumps(json_schema(), indent=2) + "\n"
    assert FILE.read_text() == text, "write docs/schema/fleet.schema.json anew: json_schema()"


def test_every_column_says_what_it_is() -> None:
    assert [field.name for field in schema()] == [name for name, _, _ in COLUMNS]
    assert all(field.metadata[b"description"].endswith((b".", b"null")) for field in schema())
