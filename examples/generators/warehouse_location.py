#!/usr/bin/env python3
"""Generates a warehouse location problem: examples/warehouse-location.model.

Sites and shops lie on a map of 100 by 100 kilometres; a delivery costs its
distance times the shop's demand.
"""

from draw import Draw
from wcsp import Model, implies, total

SITES = ["Northgate", "Riverside", "Hillcross", "Oldport", "Millfield",
         "Eastquay", "Stonebridge", "Southpark"]
SHOPS = """
Ashford Barton Clifton Denby Easton Farley Grafton Hanley Ilford Kelby Linton
Marston Newby Orton Preston Quorn Ripley Selby Thornton Upton Walton Yarby
""".split()
OPTIMUM = 1764

COMMENT = """
Warehouse location: which of %d warehouses to open, and which one serves each
of %d shops.

Hard: shops are served by open warehouses, within their capacity.
Soft: rent of the open warehouses and cost of deliveries, in one sum.
Teaches: "served by implies open" as a linear constraint with coefficients 1
  and -1, and a sum of costs with a bound of 0 as the objective.
Best known penalty: 0/%d. Proved optimal by the MIP solver cbc. The run ends
  when it is reached.
"""


def main():
    draw = Draw(2)
    m = Model(COMMENT % (len(SITES), len(SHOPS), OPTIMUM), OPTIMUM)
    position = {name: (draw.below(100), draw.below(100))
             for name in SITES + SHOPS}
    demand = {shop: draw.between(2, 9) for shop in SHOPS}
    capacity = {site: draw.between(30, 50) for site in SITES}
    rent = {site: draw.between(250, 400) for site in SITES}

    def cost(shop, site):
        distance = sum(abs(a - b) for a, b in zip(position[shop], position[site]))
        return demand[shop] * distance // 5

    m.section("Which warehouses open.")
    runs = {site: m.variable(site, ["closed", "open"]) for site in SITES}
    m.section("Which warehouse serves each shop.")
    at = {shop: m.variable(shop, SITES) for shop in SHOPS}
    m.section("Hard: a warehouse that serves a shop is open.")
    for shop in SHOPS:
        for site in SITES:
            m.add(implies(at[shop] == site, runs[site] == "open"), name=(shop, "opens", site))
    m.section("Hard: capacities, in pallets a day.")
    for site in SITES:
        m.add(total(demand[shop] * (at[shop] == site) for shop in SHOPS) <= capacity[site],
              name=("capacity", site))
    m.section("Soft: rent and deliveries.")
    m.minimize(total(rent[site] * (runs[site] == "open") for site in SITES)
               + total(cost(shop, site) * (at[shop] == site)
                       for shop in SHOPS for site in SITES), bound=0)
    print(m.text(), end="")


if __name__ == "__main__":
    main()
