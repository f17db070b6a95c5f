Optimal - objective value 24.5
      0 a&b    1    5
      1 x2     1    4
**    2 x3     3    4
