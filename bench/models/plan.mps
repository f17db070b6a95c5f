* A plan for two products over four months: make, store or buy. It stands in for the smallest of the
* public test problems where these are not at hand, and has as many rows and columns.
NAME          plan
ROWS
 N  cost
 E  balA1
 E  balB1
 L  mill1
 L  kiln1
 L  hold1
 E  balA2
 E  balB2
 L  mill2
 L  kiln2
 L  hold2
 E  balA3
 E  balB3
 L  mill3
 L  kiln3
 L  hold3
 E  balA4
 E  balB4
 L  mill4
 L  kiln4
 L  hold4
 L  hire
 G  tons
 L  oil
 G  share
 L  overA
 L  overB
 E  end
COLUMNS
    makeA1    cost               3.1
    makeA1    balA1                1
    makeA1    mill1              0.8
    makeA1    kiln1             0.35
    makeA1    oil              0.109
    makeA1    tons                 1
    makeA1    share              0.6
    makeB1    cost               4.2
    makeB1    balB1                1
    makeB1    mill1             1.25
    makeB1    kiln1              0.6
    makeB1    oil              0.313
    makeB1    tons                 1
    makeB1    share             -0.4
    stockA1   cost              0.25
    stockA1   balA1               -1
    stockA1   balA2                1
    stockA1   hold1                1
    stockB1   cost               0.4
    stockB1   balB1               -1
    stockB1   balB2                1
    stockB1   hold1              1.4
    buyA1     cost               6.2
    buyA1     balA1                1
    buyA1     overA                1
    buyB1     cost               7.9
    buyB1     balB1                1
    buyB1     overB                1
    extra1    cost              1.55
    extra1    mill1               -1
    extra1    hire                 1
    rent1     cost               0.9
    rent1     kiln1               -1
    rent1     hire               0.5
    makeA2    cost               3.4
    makeA2    balA2                1
    makeA2    mill2              0.8
    makeA2    kiln2             0.35
    makeA2    oil              0.109
    makeA2    tons                 1
    makeA2    share              0.6
    makeB2    cost              4.15
    makeB2    balB2                1
    makeB2    mill2             1.25
    makeB2    kiln2              0.6
    makeB2    oil              0.313
    makeB2    tons                 1
    makeB2    share             -0.4
    stockA2   cost              0.25
    stockA2   balA2               -1
    stockA2   balA3                1
    stockA2   hold2                1
    stockB2   cost               0.4
    stockB2   balB2               -1
    stockB2   balB3                1
    stockB2   hold2              1.4
    buyA2     cost               6.2
    buyA2     balA2                1
    buyA2     overA                1
    buyB2     cost               7.9
    buyB2     balB2                1
    buyB2     overB                1
    extra2    cost              1.65
    extra2    mill2               -1
    extra2    hire                 1
    rent2     cost               0.9
    rent2     kiln2               -1
    rent2     hire               0.5
    makeA3    cost              3.05
    makeA3    balA3                1
    makeA3    mill3              0.8
    makeA3    kiln3             0.35
    makeA3    oil              0.109
    makeA3    tons                 1
    makeA3    share              0.6
    makeB3    cost               4.5
    makeB3    balB3                1
    makeB3    mill3             1.25
    makeB3    kiln3              0.6
    makeB3    oil              0.313
    makeB3    tons                 1
    makeB3    share             -0.4
    stockA3   cost              0.25
    stockA3   balA3               -1
    stockA3   balA4                1
    stockA3   hold3                1
    stockB3   cost               0.4
    stockB3   balB3               -1
    stockB3   balB4                1
    stockB3   hold3              1.4
    buyA3     cost               6.2
    buyA3     balA3                1
    buyA3     overA                1
    buyB3     cost               7.9
    buyB3     balB3                1
    buyB3     overB                1
    extra3    cost              1.75
    extra3    mill3               -1
    extra3    hire                 1
    rent3     cost               0.9
    rent3     kiln3               -1
    rent3     hire               0.5
    makeA4    cost               3.6
    makeA4    balA4                1
    makeA4    mill4              0.8
    makeA4    kiln4             0.35
    makeA4    oil              0.109
    makeA4    tons                 1
    makeA4    share              0.6
    makeB4    cost              4.35
    makeB4    balB4                1
    makeB4    mill4             1.25
    makeB4    kiln4              0.6
    makeB4    oil              0.313
    makeB4    tons                 1
    makeB4    share             -0.4
    stockA4   cost              0.25
    stockA4   balA4               -1
    stockA4   hold4                1
    stockA4   end                  1
    stockB4   cost               0.4
    stockB4   balB4               -1
    stockB4   hold4              1.4
    stockB4   end                  1
    buyA4     cost               6.2
    buyA4     balA4                1
    buyA4     overA                1
    buyB4     cost               7.9
    buyB4     balB4                1
    buyB4     overB                1
    extra4    cost              1.85
    extra4    mill4               -1
    extra4    hire                 1
    rent4     cost               0.9
    rent4     kiln4               -1
    rent4     hire               0.5
RHS
    rhs       balA1               40
    rhs       balB1               30
    rhs       mill1               75
    rhs       kiln1               30
    rhs       hold1               25
    rhs       balA2             62.5
    rhs       balB2               28
    rhs       mill2               70
    rhs       kiln2               32
    rhs       hold2               25
    rhs       balA3               35
    rhs       balB3            55.25
    rhs       mill3               82
    rhs       kiln3             28.5
    rhs       hold3               25
    rhs       balA4               80
    rhs       balB4               47
    rhs       mill4               78
    rhs       kiln4               31
    rhs       hold4               25
    rhs       hire                60
    rhs       tons               300
    rhs       oil               75.5
    rhs       overA               45
    rhs       overB               40
    rhs       end                 12
ENDATA
