NAME          BLANK      VALUES
 XU a&b             c2     1.0925925926
 UL x2      _dummy_     7.
ENDATA
