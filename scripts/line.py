"""The line's test tank, the ping of each product in it, and the limits that were learned there from good units."""

import json
import pathlib

LIMITS = pathlib.Path("examples/station/limits")

# The scene of the tank: no echo of a good unit is at full scale.
TANK_FILE = "examples/station/tank.json"
TANK = json.loads(pathlib.Path(TANK_FILE).read_text())

# Each product's ping.
XKPING = ["xkping", "examples/short.txt", "0", "1"]
PING = ["ping", "200000", "210000", "27", "45", "0", "medium"]
LUMETPING = ["lumetping", "200long"]
PINGS = {
    **dict.fromkeys(["QL4K", "QL5K", "QL6M"], XKPING),
    **dict.fromkeys(["Varrow", "VarrowX", "QL1A", "QL2A"], PING),
    **dict.fromkeys(["LumetV2", "LumetV4", "LumetV5", "LumetV6", "Nr1", "Nr2", "Nr3"], LUMETPING),
    "LumetV1": ["lumetping", "350long"],  # it has no channel 0
}
