"""The methods, and the record that is the request of each."""
from typing import Dict, Type

from . import _table
from .records import RECORDS, Record


class Methods:
    """What a channel has as attributes: the methods, in the order of the interface."""


#: The class of each method's request, by the method's name.
REQUESTS: Dict[str, Type[Record]] = {method: RECORDS[request] for method, request in _table.METHODS}
