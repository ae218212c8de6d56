// The compound database: every name and CAS number of DWSIM's databases in DWSIM's load
// order (same-CAS duplicates included), with constants for the compounds listed in
// constants.tsv. Both files are embedded resources.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics.BaseClasses;

namespace DWSIM.Thermodynamics.Databases
{
    public static class CompoundDatabase
    {
        private static IEnumerable<string[]> ReadTable(string resource)
        {
            var asm = typeof(CompoundDatabase).Assembly;
            using (var s = asm.GetManifestResourceStream(resource))
            {
                if (s == null) throw new FileNotFoundException("embedded resource missing: " + resource);
                using (var r = new StreamReader(s))
                {
                    string line;
                    while ((line = r.ReadLine()) != null)
                    {
                        if (line.Length == 0 || line[0] == '#') continue;
                        yield return line.Split('\t');
                    }
                }
            }
        }

        public static Dictionary<string, ICompoundConstantProperties> Load()
        {
            var result = new Dictionary<string, ICompoundConstantProperties>();
            foreach (var f in ReadTable("compounds.tsv"))
            {
                // First entry wins, as in DWSIM's loader.
                if (result.ContainsKey(f[0])) continue;
                result.Add(f[0], new ConstantProperties
                {
                    Name = f[0], CAS_Number = f[1], OriginalDB = f[2], CurrentDB = f[2]
                });
            }
            var inv = CultureInfo.InvariantCulture;
            foreach (var f in ReadTable("constants.tsv"))
            {
                ICompoundConstantProperties entry;
                if (!result.TryGetValue(f[0], out entry))
                    throw new InvalidDataException("constants.tsv names an unknown compound: " + f[0]);
                var c = (ConstantProperties)entry;
                Func<int, double> num = i => double.Parse(f[i], NumberStyles.Float, inv);
                c.Molar_Weight = num(1);
                c.Critical_Temperature = num(2);
                c.Critical_Pressure = num(3) * 1e5;
                c.Acentric_Factor = num(4);
                c.Normal_Boiling_Point = num(5);
                c.HVap_At_NBP = num(6) * 1000.0;
                c.IG_Cp_A = num(7); c.IG_Cp_B = num(8); c.IG_Cp_C = num(9); c.IG_Cp_D = num(10);
                c.HasPropertyData = true;
            }
            return result;
        }
    }
}
