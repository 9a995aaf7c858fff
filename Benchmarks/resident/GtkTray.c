/* The peer: a bare tray program of GTK 3 and libayatana-appindicator with thirteen rows. */
#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    GtkWidget* menu = gtk_menu_new();
    for (int row = 0; row < 13; ++row) {
        gchar* label = g_strdup_printf("Row %d", row);
        GtkWidget* item = gtk_menu_item_new_with_label(label);
        g_free(label);
        gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    }
    gtk_widget_show_all(menu);
    AppIndicator* indicator =
        app_indicator_new("bare-gtk", "dialog-information", APP_INDICATOR_CATEGORY_APPLICATION_STATUS);
    app_indicator_set_status(indicator, APP_INDICATOR_STATUS_ACTIVE);
    app_indicator_set_menu(indicator, GTK_MENU(menu));
    gtk_main();
    return 0;
}
