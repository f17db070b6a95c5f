solution status: optimal solution found
objective value:    24.5
a&b    1 	(obj:5)
x3     3 	(obj:4)
