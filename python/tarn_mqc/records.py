"""The records, a class each.

A class is named after the record's type in C, without the prefix MQC_, SPSA_ or Mqc: RuleMac is MQC_RuleMac,
RuleHead is MqcRuleHead. Its fields are the members of that type.
"""
from typing import Dict, Type

from . import _table
from ._record import Record, make

#: Every class by its name.
RECORDS: Dict[str, Type[Record]] = {}
for _row in _table.RECORDS:
    RECORDS[_row[0]] = make(*_row, RECORDS)
globals().update(RECORDS)

__all__ = list(RECORDS)
