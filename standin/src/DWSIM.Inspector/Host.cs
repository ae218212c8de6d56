// Minimal solution inspector: records one line per calculated object when
// Settings.InspectorEnabled is set (Automation3 switches it off, as DWSIM does).
using System;
using System.Collections.Generic;
using System.Reflection;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.Inspector
{
    public class InspectorItem
    {
        public string ObjectTag { get; set; }
        public string Message { get; set; }
        public DateTime TimeStamp { get; set; }
    }

    public static class Host
    {
        public static readonly List<InspectorItem> Items = new List<InspectorItem>();

        public static void AddItem(string tag, string message)
        {
            if (!GlobalSettings.Settings.InspectorEnabled) return;
            lock (Items) Items.Add(new InspectorItem { ObjectTag = tag, Message = message, TimeStamp = DateTime.Now });
        }
    }
}
